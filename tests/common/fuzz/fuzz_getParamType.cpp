// Classifies arbitrary descriptions.
#include "fuzzinput.h"
#include "paramparser.h"

#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string description(reinterpret_cast<const char*>(data), size);
    const int type = getParamType(description);
    FUZZ_CHECK(type >= 0 && type <= 5);
    const auto values = parseParamValues(description);
    // The fixed domains come back as their pieces.
    if (type == 0)
        FUZZ_CHECK(values.size() == 2 && values[0] == "true" && values[1] == "false");
    if (type == 1)
        FUZZ_CHECK(values.size() == 2);
    if (type == 4)
        FUZZ_CHECK(values.size() == 1 && values[0] == "string");
    if (type == 2 || type == 4)
        FUZZ_CHECK(!values.empty());
    // With no bracket part there is nothing to list.
    if (description.find('[') == std::string::npos)
        FUZZ_CHECK(type == 5 && values.empty());
    return 0;
}
