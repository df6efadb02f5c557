// The wide formatter with a hostile format: it stays inside its buffer and terminates it.
#include <algorithm>

#include "FuzzTarget.h"
#include "platform/Text.h"

namespace {

constexpr WCHAR GUARD = 0x5A5A;
constexpr std::ptrdiff_t MAX_CONVERSIONS = 8;

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    const std::size_t capacity = 1 + data[0] % 64;
    const WString format(data + 1, data + size);
    if (std::count(format.begin(), format.end(), WCHAR('%')) > MAX_CONVERSIONS) {
        return 0;
    }
    // A pointer to text fits every conversion: read as a number it is some number.
    const WCHAR* const text = WIDE("some text");
    WCHAR buffer[65];
    std::fill(std::begin(buffer), std::end(buffer), GUARD);
    const std::size_t written = WideFormat(buffer, capacity, format.c_str(), text, text, text, text,
                                           text, text, text, text);
    Require(written < capacity, "the output fits the buffer");
    Require(buffer[written] == 0, "the output is terminated");
    Require(
        std::all_of(buffer + capacity, std::end(buffer), [](WCHAR unit) { return unit == GUARD; }),
        "nothing is written behind the buffer");
    return 0;
}

std::vector<std::string> FuzzSeeds() {
    return {"?[SYNC]:[%s] failed.EC:[%d]\n", "\x08%08x%-20s|%c|%I64d%%",
            "\x20%ld%lu%lx%i%u%X%I64u%I64x", "?%2147483648d%999999999999s", "\x10%q%"};
}
