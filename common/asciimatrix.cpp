// Reading and writing matrices as decimal or hexadecimal text.
#include "cfile.h"
#include "fileops.h"
#include "numericlocale.h"

#include <cstdint>
#include <type_traits>

namespace {

// The printf forms for one element type: one for an element inside a row and
// one for the last element of a row.
struct WriteFormats
{
    const char* blank;
    const char* lineEnd;
};

template <typename T>
int readElements(FILE* stream, const char* format, size_t count, void* data)
{
    T* out = static_cast<T*>(data);
    for (size_t i = 0; i < count; ++i) {
        if (std::fscanf(stream, format, &out[i]) != 1)
            return FO_ERR_READ;
    }
    return FO_OK;
}

// A zero width would leave no row end; the whole matrix is then one row.
bool isRowEnd(size_t index, size_t count, size_t width)
{
    if (width == 0)
        return index + 1 == count;
    return (index + 1) % width == 0;
}

// Writes `count` elements, each converted by `toArg` into the value that the
// format expects.
template <typename T, typename Convert>
int writeElements(FILE* stream, const WriteFormats& formats, const void* data, size_t count,
    size_t width, Convert toArg)
{
    const T* in = static_cast<const T*>(data);
    for (size_t i = 0; i < count; ++i) {
        const char* format = isRowEnd(i, count, width) ? formats.lineEnd : formats.blank;
        if (std::fprintf(stream, format, toArg(in[i])) < 0)
            return FO_ERR_WRITE;
    }
    return FO_OK;
}

// Decimal text prints the value itself, with the usual argument promotion.
template <typename T>
auto decimalArg(T value)
{
    if constexpr (std::is_floating_point_v<T>)
        return static_cast<double>(value);
    else if constexpr (std::is_signed_v<T>)
        return static_cast<int>(value);
    else
        return static_cast<unsigned>(value);
}

// Hexadecimal text prints the bit pattern of the element's own width, so a
// negative value shows as its two's complement (-1 as int16 is "FFFF").
template <typename T>
unsigned hexArg(T value)
{
    return static_cast<unsigned>(static_cast<std::make_unsigned_t<T>>(value));
}

int readTyped(FILE* stream, _DataType type, size_t count, void* data)
{
    switch (type) {
    case DT_UINT8:
        return readElements<uint8_t>(stream, "%hhu", count, data);
    case DT_INT16:
        return readElements<int16_t>(stream, "%hd", count, data);
    case DT_UINT16:
        return readElements<uint16_t>(stream, "%hu", count, data);
    case DT_INT32:
        return readElements<int32_t>(stream, "%d", count, data);
    case DT_UINT32:
        return readElements<uint32_t>(stream, "%u", count, data);
    case DT_FLOAT:
        return readElements<float>(stream, "%f", count, data);
    case DT_DOUBLE:
        return readElements<double>(stream, "%lf", count, data);
    }
    return FO_ERR_TYPE;
}

int writeDecimal(FILE* stream, _DataType type, const void* data, size_t count, size_t width)
{
    auto arg = [](auto v) { return decimalArg(v); };
    switch (type) {
    case DT_UINT8:
        return writeElements<uint8_t>(stream, {"%hhu ", "%hhu\n"}, data, count, width, arg);
    case DT_INT16:
        return writeElements<int16_t>(stream, {"%hd ", "%hd\n"}, data, count, width, arg);
    case DT_UINT16:
        return writeElements<uint16_t>(stream, {"%hu ", "%hu\n"}, data, count, width, arg);
    case DT_INT32:
        return writeElements<int32_t>(stream, {"%d ", "%d\n"}, data, count, width, arg);
    case DT_UINT32:
        return writeElements<uint32_t>(stream, {"%u ", "%u\n"}, data, count, width, arg);
    case DT_FLOAT:
        return writeElements<float>(stream, {"%f ", "%f\n"}, data, count, width, arg);
    case DT_DOUBLE:
        return writeElements<double>(stream, {"%lf ", "%lf\n"}, data, count, width, arg);
    }
    return FO_ERR_TYPE;
}

int writeHex(FILE* stream, _DataType type, const void* data, size_t count, size_t width)
{
    auto arg = [](auto v) { return hexArg(v); };
    switch (type) {
    case DT_UINT8:
        return writeElements<uint8_t>(stream, {"%02X ", "%02X\n"}, data, count, width, arg);
    case DT_INT16:
        return writeElements<int16_t>(stream, {"%04X ", "%04X\n"}, data, count, width, arg);
    case DT_UINT16:
        return writeElements<uint16_t>(stream, {"%04X ", "%04X\n"}, data, count, width, arg);
    case DT_INT32:
        return writeElements<int32_t>(stream, {"%08X ", "%08X\n"}, data, count, width, arg);
    case DT_UINT32:
        return writeElements<uint32_t>(stream, {"%08X ", "%08X\n"}, data, count, width, arg);
    default:
        break;
    }
    return FO_ERR_TYPE;
}

bool isDecimalType(_DataType type)
{
    switch (type) {
    case DT_UINT8:
    case DT_INT16:
    case DT_UINT16:
    case DT_INT32:
    case DT_UINT32:
    case DT_FLOAT:
    case DT_DOUBLE:
        return true;
    }
    return false;
}

bool isHexType(_DataType type)
{
    return isDecimalType(type) && type != DT_FLOAT && type != DT_DOUBLE;
}

using Writer = int (*)(FILE*, _DataType, const void*, size_t, size_t);

// Shared frame of both writers. The arguments are checked before the file is
// opened, so that a call that cannot write anything leaves an existing file
// untouched. Buffered data that cannot be flushed at the end also counts as a
// failed write.
int writeMatrix(const std::filesystem::path& path, bool supported, _DataType type, const void* data,
    size_t count, size_t width, bool append, Writer writer)
{
    if (!supported)
        return FO_ERR_TYPE;
    if (!data && count > 0)
        return FO_ERR_ARG;
    File file(path, append ? "a+" : "w");
    if (!file.isOpen())
        return FO_ERR_OPEN;
    CNumericLocale numbers;
    const int result = writer(file.stream(), type, data, count, width);
    if (file.close() != 0 && result == FO_OK)
        return FO_ERR_WRITE;
    return result;
}

} // namespace

int readAsciiMatrix(const std::filesystem::path& path, _DataType type, size_t count, void* data)
{
    File file(path, "r");
    if (!file.isOpen())
        return FO_ERR_OPEN;
    if (!isDecimalType(type))
        return FO_ERR_TYPE;
    if (count == 0)
        return FO_OK;
    if (!data)
        return FO_ERR_ARG;
    CNumericLocale numbers;
    return readTyped(file.stream(), type, count, data);
}

int writeAsciiMatrix(const std::filesystem::path& path, _DataType type, void* data, size_t count,
    size_t width, bool append)
{
    return writeMatrix(path, isDecimalType(type), type, data, count, width, append, writeDecimal);
}

int writeAsciiMatrixHex(const std::filesystem::path& path, _DataType type, void* data, size_t count,
    size_t width, bool append)
{
    return writeMatrix(path, isHexType(type), type, data, count, width, append, writeHex);
}
