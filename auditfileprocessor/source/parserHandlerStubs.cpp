// Placeholders for the event handlers that are not written yet: each takes its
// line without writing anything. Removed handler by handler as they land.
#include "parser.h"

bool Parser::ParseStartupInfo(const std::vector<std::string>&) { return true; }
bool Parser::ParseRequestInfo(const std::vector<std::string>&) { return true; }
bool Parser::ParseRemoteRequestInfo(const std::vector<std::string>&) { return true; }
bool Parser::ParseRequestError(const std::vector<std::string>&) { return true; }
bool Parser::ParseUsage(const std::vector<std::string>&) { return true; }
bool Parser::ParseAdminInfo(const std::vector<std::string>&) { return true; }
bool Parser::ParseTarvelInfo(const std::vector<std::string>&) { return true; }
bool Parser::ParseTarvelError(const std::vector<std::string>&) { return true; }
bool Parser::ParseUserInfo(const std::vector<std::string>&) { return true; }
