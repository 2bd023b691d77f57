// The numbered message catalogues of a component: one compiled catalogue per
// language, found relative to the program directory, texts kept in UTF-8 and
// handed out in the locale's encoding.
//   QXMessage::Init("afpmsg", "/opt/afp/bin/");
//   QXMessage::SetLanguage("en-us", "UTF-8");
//   std::string text;
//   if (QXMessage::GetMessage(text, 43)) { ... }
#pragma once

#include <nl_types.h>

#include <string>

class QXMessage {
  public:
    // Names the component; its catalogues are looked for under
    // programDir + "../share/qxesauditfileprocessor/<language>/<component>.cat".
    static void Init(const std::string& component, const std::string& programDir);
    // Opens the catalogue of the language, or of "en-us" when that language has
    // none; texts are converted to `encoding` when it is not UTF-8.
    static void SetLanguage(const std::string& language, const std::string& encoding);
    // The text of a message number; false when there is no catalogue or no such
    // message (the first such failure is reported once on standard error).
    static bool GetMessage(std::string& text, int number);
    // Where the catalogue of a language is looked for.
    static std::string CataloguePath(const std::string& language);
    // Closes the catalogue (tests only; the run leaves it to process exit).
    static void Close();

  private:
    static std::string m_component;
    static std::string m_programDir;
    static std::string m_encoding;
    static std::string m_lookedFor;
    static nl_catd m_catalogue;
    static bool m_failureReported;
};
