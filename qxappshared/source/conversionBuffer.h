// A scratch byte array that a conversion writes into. It only ever grows, in
// steps of ChangeEncodingUtilsData::kBufferStep bytes, and is kept between
// conversions so that the common case allocates nothing.
//   conversionBuffer buffer;              // empty: size 0, no array
//   data->getBuffer(&buffer);             // now 1024 bytes
#pragma once

#include <memory>

struct conversionBuffer {
    // Bytes in `data`; 0 while no array is allocated.
    unsigned size = 0;
    std::unique_ptr<char[]> data;
};
