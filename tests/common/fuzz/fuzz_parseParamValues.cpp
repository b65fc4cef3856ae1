// Splits arbitrary descriptions into values.
#include "fuzzinput.h"
#include "paramparser.h"

#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string description(reinterpret_cast<const char*>(data), size);
    const auto values = parseParamValues(description);
    std::string joined;
    for (const auto& value : values) {
        FUZZ_CHECK(!value.empty());
        FUZZ_CHECK(value.find('|') == std::string::npos);
        FUZZ_CHECK(value.find(']') == std::string::npos);
        joined += value;
        joined += '|';
    }
    // The values, joined again, are a list domain of their own.
    if (!values.empty()) {
        joined.pop_back();
        const auto again = parseParamValues("[" + joined + "]");
        FUZZ_CHECK(again == values);
    }
    return 0;
}
