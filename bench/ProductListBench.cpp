// What a large product list costs: from the received body to the list that the callback gets, beside the parsing alone;
// and the memory that the list holds, beside the bytes of its texts.
//
//   qsn_bench_products [PRODUCTS [ROUNDS]]

#include <qsn/qsn.h>
#include <windows.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include "Utility/Json.h"
#include "Utility/Md5.h"
#include "engine/Reply.h"
#include "objects/ProductFields.h"

namespace {

using qsn::ProductField;
using qsn::ProductFieldKind;

// One member in `every` is sent, as services leave out what a product does not have.
std::string MakeBody(int products, int every) {
    std::string body = R"({"result":0,"data":[)";
    for (int product = 0; product < products; ++product) {
        body += product == 0 ? "{" : ",{";
        bool first = true;
        for (const ProductField& field : qsn::kProductFields) {
            if (!field.member || field.id % every != 0) continue;
            if (!first) body += ',';
            first = false;
            body.append(1, '"').append(field.member).append("\":");
            if (field.kind == ProductFieldKind::kText) {
                body += "\"https://account.quillfern.example/" + std::to_string(field.id * 1000003 + product) + '"';
            } else {
                body += std::to_string(product % 7);
            }
        }
        body += '}';
    }
    return body + "]}";
}

double Milliseconds(std::chrono::steady_clock::duration time) {
    return std::chrono::duration<double, std::milli>(time).count();
}

double TimeOfParsing(const std::string& body) {
    Json::Value root;
    const auto start = std::chrono::steady_clock::now();
    const bool parsed = qsn::ParseJson(body, &root);
    const auto end = std::chrono::steady_clock::now();
    return parsed ? Milliseconds(end - start) : -1;
}

// The steps of a session, but for the decryption of the reply's token, whose time does not depend on the body.
struct Steps {
    double envelope = 0;  // parsing included
    double digest = 0;
    double payload = 0;
    double release = 0;  // of the parsed reply, after the callback

    double ToCallback() const { return envelope + digest + payload; }
};

Steps TimeOfSteps(const std::string& body) {
    using Clock = std::chrono::steady_clock;
    qsn::ReplyPayload payload;
    auto envelope = std::make_unique<qsn::ReplyEnvelope>();
    const auto start = Clock::now();
    qsn::ReadEnvelope(body, envelope.get());
    const auto parsed = Clock::now();
    qsn::HmacMD5Hex(body, "31");
    const auto verified = Clock::now();
    qsn::ReadPayload(qsn::RequestType::kGetProductList, envelope->data, &payload);
    const auto read = Clock::now();
    envelope.reset();
    const auto released = Clock::now();
    return {Milliseconds(parsed - start), Milliseconds(verified - parsed), Milliseconds(read - verified),
            Milliseconds(released - read)};
}

// Counted region by region, because Wine's process counters stay at 0.
std::size_t PrivateBytes() {
    std::size_t bytes = 0;
    MEMORY_BASIC_INFORMATION region = {};
    for (const char* address = nullptr; VirtualQuery(address, &region, sizeof(region)) != 0;) {
        if (region.State == MEM_COMMIT && region.Type == MEM_PRIVATE) bytes += region.RegionSize;
        address = static_cast<const char*>(region.BaseAddress) + region.RegionSize;
    }
    return bytes;
}

std::size_t TextBytes(IQSNList& list) {
    std::size_t bytes = 0;
    for (uint32_t index = 0; index < list.GetCount(); ++index) {
        qsn::UniqueCom<IQSNDataSet> item;
        list.GetItem(index, qsn::Out(item));
        for (const ProductField& field : qsn::kProductFields) {
            uint32_t length = 0;
            if (SUCCEEDED(item->GetStringLength(field.id, &length))) bytes += length;
        }
    }
    return bytes;
}

// Before anything was freed, so that no block of an earlier list is used again.
void PrintMemory(const std::string& body) {
    qsn::ReplyEnvelope envelope;
    qsn::ReadEnvelope(body, &envelope);
    qsn::ReplyPayload payload;
    const std::size_t before = PrivateBytes();
    qsn::ReadPayload(qsn::RequestType::kGetProductList, envelope.data, &payload);
    const std::size_t held = PrivateBytes() - before;
    const std::size_t texts = TextBytes(*payload.productList);
    std::printf("  memory: texts %zu bytes, list %zu private bytes, ratio %.2f\n", texts, held,
                static_cast<double>(held) / static_cast<double>(texts));
}

// The least of each, because what else the machine does only ever adds.
void PrintTimes(const std::string& body, int rounds) {
    double parsing = TimeOfParsing(body);
    Steps least = TimeOfSteps(body);
    for (int round = 1; round < rounds; ++round) {
        parsing = std::min(parsing, TimeOfParsing(body));
        const Steps steps = TimeOfSteps(body);
        least = {std::min(least.envelope, steps.envelope), std::min(least.digest, steps.digest),
                 std::min(least.payload, steps.payload), std::min(least.release, steps.release)};
    }
    std::printf("  parsing alone %.0f ms, body to callback %.0f ms, ratio %.2f", parsing, least.ToCallback(),
                least.ToCallback() / parsing);
    std::printf(" (envelope %.0f, digest %.0f, payload %.0f; release afterwards %.0f)\n", least.envelope, least.digest,
                least.payload, least.release);
}

int Count(const char* argument) { return std::max(1, static_cast<int>(std::strtol(argument, nullptr, 10))); }

}  // namespace

int main(int argumentCount, char** arguments) {
    const int products = argumentCount > 1 ? Count(arguments[1]) : 50000;
    const int rounds = argumentCount > 2 ? Count(arguments[2]) : 5;
    std::setvbuf(stdout, nullptr, _IONBF, 0);
    for (int every : {1, 3}) {
        const std::string body = MakeBody(products, every);
        std::printf("%d products with one in %d members, %zu bytes\n", products, every, body.size());
        PrintMemory(body);
        PrintTimes(body, rounds);
    }
}
