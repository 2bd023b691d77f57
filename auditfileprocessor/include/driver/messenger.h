// Every text the program shows goes through the one Messenger: a numbered
// message of the catalogue "afpmsg" with its inserts filled in, written to the
// error log when one is named, otherwise to standard output. Control
// characters in the inserts, in texts shown as they are and in the banner's
// file name are escaped, so that each message is one line. An error log that
// is a symbolic link (AFP-0055) or that cannot be trusted or opened (AFP-0065)
// is refused and messages go to standard output; a log or a standard output
// that stops taking writes is reported once on standard error (AFP-0054,
// AFP-0069). Each such failure is recorded among the failed outputs.
//   Messenger::Get().DisplayMessage(43, "-nbrows");  // "AFP-0043: ... -nbrows ..."
#pragma once

#include <cstdio>
#include <string>
#include <vector>

class Messenger {
  public:
    static Messenger& Get();

    void DisplayMessage(const std::string& text);
    void DisplayMessage(int number);
    void DisplayMessage(int number, const std::string& insert0);
    void DisplayMessage(int number, const std::string& insert0, const std::string& insert1);
    // Any number of inserts: inserts[i] replaces "%i".
    void DisplayMessageWithInserts(int number, const std::vector<std::string>& inserts);
    // The text of a message with its inserts, without showing it.
    static std::string Compose(int number, const std::vector<std::string>& inserts);

    // Full path of the error log; empty sends messages to standard output.
    static std::string m_sErrorLogFileName;
    // The open error log, opened on first use; NULL while closed.
    static FILE* m_fpErrorLogFile;
    // The audit file being loaded, named in the error log's banner.
    static std::string m_sAuditLogFileName;
    // True from the start of an audit file until its first message is logged.
    static bool m_isParsingNewLog;
    // An error log refused as a symbolic link: not tried again under that name.
    static std::string m_sRefusedErrorLogFileName;
    // A write to the open error log failed and was reported; reset by a new open.
    static bool m_errorLogWriteFailed;
    // A write to standard output failed and was reported.
    static bool m_standardOutputFailed;

  private:
    Messenger() = default;
    void Show(int number, const std::vector<std::string>& inserts);
    // Shows a text whose control characters are escaped already.
    void Emit(const std::string& text);
    void OpenErrorLog();
    void WriteToErrorLog(const std::string& text);
};

// The catalogue text of a message number.
void GetMessage(int number, std::string& text);

// Replaces the first "%i" by inserts[i], for each insert in order.
void SubstituteStrings(std::string& text, const std::vector<std::string>& inserts);
