#include "Footprint.h"

#include "support/PrivateBytes.h"
#include "support/ProcessState.h"

namespace qsn::soak {
namespace {

long long Difference(std::size_t now, std::size_t before) {
    return static_cast<long long>(now) - static_cast<long long>(before);
}

}  // namespace

Footprint Footprint::Now() {
    return {test::PrivateBytes(), test::HeapBytes(), test::HandleCount(), test::ThreadCount()};
}

std::string Footprint::Text() const {
    return std::to_string(privateBytes) + " private bytes, " + std::to_string(heapBytes) + " heap bytes, " +
           std::to_string(handles) + " handles, " + std::to_string(threads) + " threads";
}

std::string GrowthText(const Footprint& before, const Footprint& now, bool* tooMuch) {
    const long long privateBytes = Difference(now.privateBytes, before.privateBytes);
    const long long heapBytes = Difference(now.heapBytes, before.heapBytes);
    const int handles = now.handles - before.handles;
    const int threads = now.threads - before.threads;
    if (privateBytes > static_cast<long long>(kMostGrowth.privateBytes) ||
        heapBytes > static_cast<long long>(kMostGrowth.heapBytes) || handles > kMostGrowth.handles ||
        threads > kMostGrowth.threads) {
        *tooMuch = true;
    }
    return "growth " + std::to_string(privateBytes) + " private bytes, " + std::to_string(heapBytes) + " heap bytes, " +
           std::to_string(handles) + " handles, " + std::to_string(threads) + " threads";
}

}  // namespace qsn::soak
