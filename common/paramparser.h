// Reads the value domain that a device parameter carries in its description,
// as a part in square brackets: "[true|false]", "[0|1]", "[0..100]",
// "[a|b|c]" or "[string]".
#pragma once

#include <string>
#include <vector>

// Kinds of value domain. The numbers are also the order in which parameter
// controls are sorted.
enum ParamType : int {
    PT_BOOL = 0,   // "true|false"
    PT_LOGIC = 1,  // "0|1" or "log 0|log 1"
    PT_RANGE = 2,  // two numbers joined by "..", e.g. "0..1000"
    PT_LIST = 3,   // any other list with "|"
    PT_STRING = 4, // "string"
    PT_NONE = 5,   // no usable domain
};

// The kind of the first bracket part of `description`, one of ParamType.
int getParamType(const std::string& description);

// The values that the first bracket part lists, split at "|". Empty pieces are
// dropped, blanks are kept, and a range comes back as one value.
std::vector<std::string> parseParamValues(const std::string& description);
