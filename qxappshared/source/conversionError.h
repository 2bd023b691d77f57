// The one error that text conversion raises: CPPWebException 1050, located in
// the conversion source, for buffers or converters that cannot be had.
//   if (data == NULL) {
//       throwConversionError("getDataInstance() returned NULL", 226, "changeEncoding");
//   }
#pragma once

// Throws the conversion error with `text`, located at `line` of the conversion
// source and in `function`.
[[noreturn]] void throwConversionError(const char* text, int line, const char* function);
