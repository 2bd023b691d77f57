// Text made safe for HTML and SVG: the five characters that markup gives a
// meaning are written as character references.
//   MarkupText::escape("O'Brien & <Co>");  // "O&#39;Brien &amp; &lt;Co&gt;"
#pragma once

#include <string>

class MarkupText {
  public:
    static std::string escape(const std::string& text);
    // At most `characters` UTF-8 characters of `text`, an ellipsis marking a cut.
    static std::string shorten(const std::string& text, size_t characters);
};
