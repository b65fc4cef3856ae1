// Element codes and result codes shared by the file helpers.
#pragma once

// Element type of a matrix in memory. The numbers are stored in files and
// passed between programs, so they must never change. Values that are not
// listed (0, 6, 7 and anything else) are not supported.
enum _DataType : int {
    DT_UINT8 = 1,
    DT_INT16 = 2,
    DT_UINT16 = 3,
    DT_INT32 = 4,
    DT_UINT32 = 5,
    DT_FLOAT = 8,
    DT_DOUBLE = 9,
};

// Results of the file helpers. Callers add the results of several calls and
// treat a non-zero sum as failure, so every failure is negative.
enum FileOpsResult : int {
    FO_OK = 0,
    FO_ERR_OPEN = -1,  // the file could not be opened (or is a directory)
    FO_ERR_READ = -2,  // fewer elements could be read than were asked for
    FO_ERR_WRITE = -3, // an element could not be written
    FO_ERR_TYPE = -4,  // unsupported _DataType
    FO_ERR_ARG = -5,   // a null pointer argument, or a missing copy source
    FO_ERR_COPY = -6,  // a copy could not finish
};
