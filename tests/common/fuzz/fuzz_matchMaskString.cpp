// Matches arbitrary names against arbitrary masks.
#include "fileops.h"
#include "fuzzinput.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    // The input is "name\0mask"; without a zero byte it is split in half.
    const char* text = reinterpret_cast<const char*>(data);
    const auto* zero = static_cast<const uint8_t*>(std::memchr(data, 0, size));
    const size_t cut = zero ? static_cast<size_t>(zero - data) : size / 2;
    const std::string name(text, cut);
    const std::string mask
        = zero ? std::string(text + cut + 1, size - cut - 1) : std::string(text + cut, size - cut);

    const bool matches = matchMaskString(name, mask);
    // Every character of a name matches itself, whatever it is.
    FUZZ_CHECK(matchMaskString(name, name));
    FUZZ_CHECK(matchMaskString(mask, mask));
    // Upper and lower case are the same.
    std::string upper = name;
    std::transform(upper.begin(), upper.end(), upper.begin(),
        [](char c) { return static_cast<char>(std::toupper(static_cast<unsigned char>(c))); });
    FUZZ_CHECK(matchMaskString(upper, mask) == matches);
    // A "*" in the mask first matches a literal "*" in the name, so the
    // wildcard laws below hold only for names without one.
    if (name.find('*') == std::string::npos) {
        FUZZ_CHECK(matchMaskString(name, "*"));
        FUZZ_CHECK(matchMaskString(name, mask + "**") == matchMaskString(name, mask + "*"));
        FUZZ_CHECK(!matches || matchMaskString(name, "*" + mask));
    }
    return 0;
}
