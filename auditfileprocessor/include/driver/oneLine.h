// Control characters in a text shown in one line of an output (a message, the
// error log's banner, a reject record's header) written as escapes, so that a
// file name or a database's reason can never start a line of its own and pass
// for another message.
//   OneLine::Escaped("a\nAFP-0058: b\x01")  // "a\\nAFP-0058: b\\x01"
#pragma once

#include <string>

class OneLine {
  public:
    // NUL, line feed and carriage return as \0 \n \r; every other byte below
    // 0x20 but the tab, and 0x7f, as \xNN. All other bytes are kept.
    static std::string Escaped(const std::string& text);
};
