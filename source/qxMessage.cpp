#include "qxMessage.h"

#include <iconv.h>
#include <strings.h>

#include <cerrno>
#include <cstdio>

namespace {

const nl_catd kNoCatalogue = reinterpret_cast<nl_catd>(-1);
constexpr int kMessageSet = 1;

bool IsUtf8(const std::string& encoding) {
    return strcasecmp(encoding.c_str(), "UTF-8") == 0 || strcasecmp(encoding.c_str(), "UTF8") == 0;
}

// Messages convert with the C library alone: the support library stays below
// the encoding layer. What `encoding` cannot show becomes "?"; an encoding
// that iconv does not know leaves the text in UTF-8.
std::string FromUtf8(const std::string& text, const std::string& encoding) {
    iconv_t converter = iconv_open(encoding.c_str(), "UTF-8");
    if (converter == reinterpret_cast<iconv_t>(-1)) {
        return text;
    }
    std::string converted;
    char* input = const_cast<char*>(text.data());
    size_t inputLeft = text.size();
    char buffer[256];
    while (inputLeft > 0) {
        char* output = buffer;
        size_t outputLeft = sizeof buffer;
        const bool failed =
            iconv(converter, &input, &inputLeft, &output, &outputLeft) == static_cast<size_t>(-1);
        converted.append(buffer, output - buffer);
        if (failed && errno != E2BIG) {
            converted += '?';
            // On past the whole UTF-8 sequence that could not be converted.
            do {
                ++input;
                --inputLeft;
            } while (inputLeft > 0 && (*input & 0xC0) == 0x80);
        }
    }
    char* output = buffer;
    size_t outputLeft = sizeof buffer;
    iconv(converter, nullptr, nullptr, &output, &outputLeft);
    converted.append(buffer, output - buffer);
    iconv_close(converter);
    return converted;
}

}  // namespace

std::string QXMessage::m_component;
std::string QXMessage::m_programDir;
std::string QXMessage::m_encoding = "UTF-8";
std::string QXMessage::m_lookedFor;
nl_catd QXMessage::m_catalogue = kNoCatalogue;
bool QXMessage::m_failureReported = false;

void QXMessage::Init(const std::string& component, const std::string& programDir) {
    Close();
    m_component = component;
    m_programDir = programDir;
}

std::string QXMessage::CataloguePath(const std::string& language) {
    return m_programDir + "../share/qxesauditfileprocessor/" + language + "/" + m_component +
           ".cat";
}

void QXMessage::SetLanguage(const std::string& language, const std::string& encoding) {
    Close();
    m_encoding = encoding;
    m_lookedFor = CataloguePath(language);
    m_catalogue = catopen(m_lookedFor.c_str(), 0);
    if (m_catalogue == kNoCatalogue && language != "en-us") {
        m_lookedFor += " and " + CataloguePath("en-us");
        m_catalogue = catopen(CataloguePath("en-us").c_str(), 0);
    }
}

bool QXMessage::GetMessage(std::string& text, int number) {
    const char* found = nullptr;
    if (m_catalogue != kNoCatalogue) {
        found = catgets(m_catalogue, kMessageSet, number, nullptr);
    }
    if (found == nullptr) {
        if (!m_failureReported) {
            m_failureReported = true;
            std::fprintf(stderr,
                         "qxesauditfileprocessor: message %d not found in the message catalogue "
                         "(looked for %s); showing message numbers only.\n",
                         number, m_lookedFor.empty() ? "no catalogue" : m_lookedFor.c_str());
        }
        return false;
    }
    text = found;
    if (!IsUtf8(m_encoding)) {
        text = FromUtf8(text, m_encoding);
    }
    return true;
}

void QXMessage::Close() {
    if (m_catalogue != kNoCatalogue) {
        catclose(m_catalogue);
        m_catalogue = kNoCatalogue;
    }
}
