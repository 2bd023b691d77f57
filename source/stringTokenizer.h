// A tokenizer over a text range that the caller owns: tokens are separated by
// any of a set of separator characters, and an escape character can keep a
// separator inside a token. The usage blob decoder reads its records and fields
// with it.
//   std::string text = "a\\,b,c";
//   StringTokenizer fields(text.data(), text.data() + text.size(), ",", "\\");
//   while (fields.hasMoreTokens()) use(fields.nextToken(StringTokenizer::Unescape));  // "a,b", "c"
#pragma once

#include <array>
#include <string>

class StringTokenizer {
  public:
    // How escape characters are read. In every mode but Plain an escape character
    // protects the character after it: that character never ends the token. The
    // modes differ only in which escape pairs are collapsed into their second
    // character; pairs that are not collapsed are kept as both characters.
    enum Mode {
        // Escape characters have no meaning: a token runs to the next separator.
        Plain = 0,
        // Escape + separator gives the separator; any other pair is kept whole.
        Unescape = 1,
        // Escape + escape gives one escape; any other pair is kept whole.
        UnescapeEscapes = 2,
        // Both of the above.
        UnescapeAll = 3
    };

    // Reads [begin, end), which must stay alive and unchanged while tokens are
    // read. A null or reversed range is read as an empty text.
    StringTokenizer(const char* begin, const char* end, const std::string& separators,
                    const std::string& escapes);

    // True while unread characters remain, separators included: a text that ends
    // with a separator therefore yields one last empty token.
    bool hasMoreTokens() const { return m_current != m_end; }

    // Skips the separators at the current place and returns the characters up to
    // the next unprotected separator or the end. The separator that ends the token
    // is left for the next call. An escape as the last character is kept as it is.
    std::string nextToken(Mode mode = Plain);

  private:
    bool isSeparator(char c) const { return m_isSeparator[static_cast<unsigned char>(c)]; }
    bool isEscape(char c) const { return m_isEscape[static_cast<unsigned char>(c)]; }

    const char* m_current;
    const char* m_end;
    // One entry per byte value: the usage blobs are split character by character.
    std::array<bool, 256> m_isSeparator{};
    std::array<bool, 256> m_isEscape{};
};
