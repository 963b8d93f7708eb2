#include <json/reader.h>

#include <memory>
#include <string>

#include "Children.h"
#include "Rows.h"
#include "Sections.h"
#include "objects/ProductFields.h"
#include "protocol/Reply.h"
#include "support/PrivateBytes.h"

// The library reads replies with this class, so the comparison uses it too.
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

namespace qsn::bench {
namespace {

std::string MakeBody(int products) {
    std::string body = R"({"result":0,"data":[)";
    for (int product = 0; product < products; ++product) {
        body += product == 0 ? "{" : ",{";
        bool first = true;
        for (const ProductField& field : kProductFields) {
            if (!field.member) continue;
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

// Up to the list that the callback gets. What was parsed is freed after that.
double TimeOfReading(const std::string& body) {
    Outcome<ReplyPayload> payload;
    return TimeOf([&] { payload = ReadPayload(RequestType::kGetProductList, ReadEnvelope(body).value.data); });
}

double TimeOfParsing(const std::string& body) {
    Json::Value root;
    return TimeOf([&] {
        Json::Reader reader;
        reader.parse(body.data(), body.data() + body.size(), root, false);
    });
}

Pair<TimedStep> Reply(int products) {
    const auto body = std::make_shared<const std::string>(MakeBody(products));
    return {[body] { return TimeOfReading(*body); }, [body] { return TimeOfParsing(*body); }};
}

double TextBytes(IQSNList& list) {
    std::size_t bytes = 0;
    for (uint32_t index = 0; index < list.GetCount(); ++index) {
        UniqueCom<IQSNDataSet> item;
        list.GetItem(index, Out(item));
        for (const ProductField& field : kProductFields) {
            uint32_t length = 0;
            if (SUCCEEDED(item->GetStringLength(field.id, &length))) bytes += length;
        }
    }
    return static_cast<double>(bytes);
}

// In a process that has freed nothing yet, so that no earlier block is used again.
Figures MemoryOfAProduct() {
    constexpr int kProducts = 50000;
    Outcome<ReplyEnvelope> envelope = ReadEnvelope(MakeBody(kProducts));
    const std::size_t before = test::PrivateBytes();
    const auto payload = ReadPayload(RequestType::kGetProductList, std::move(envelope.value.data));
    return {static_cast<double>(test::PrivateBytes() - before) / kProducts,
            TextBytes(*payload.value.productList) / kProducts};
}

}  // namespace

void AddReplyRows() {
    static constexpr char kOurs[] = "body to list of products";
    static constexpr char kBeside[] = "jsoncpp parsing alone";
    static constexpr char kFloor[] = "the parsing, and a copy of the texts";
    AddTimedPair({"reply-10", kOurs, kBeside, kFloor, 1.5}, {.seconds = 0.1}, [] { return Reply(10); });
    AddTimedPair({"reply-1000", kOurs, kBeside, kFloor, 1.5}, {.seconds = 0.1}, [] { return Reply(1000); });
    AddTimedPair({"reply-50000", kOurs, kBeside, kFloor, 1.5}, {.repetitions = 5, .iterations = 1},
                 [] { return Reply(50000); });
    AddChild("memory", MemoryOfAProduct);
    AddFigures({"memory", "private bytes of a product of 50,000", "sum of its texts", "the texts", 2.0}, Unit::kBytes,
               [] { return FiguresOfChild("memory"); });
    AddSeries({"grow-products", "products, body to list", {10, 100, 1000, 10000, 100000}, [](int products) {
                   return TimeOfReading(MakeBody(products));
               }});
}

}  // namespace qsn::bench
