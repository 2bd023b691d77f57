#include "parser.h"

Parser::Parser(const AFPOptions& runOptions, SQLDB* database, const std::string& programDirectory)
    : db(database), options(runOptions), programDir(programDirectory) {
    m_catalogue.Describe(db);
}

Parser::~Parser() = default;

Table* Parser::TableFor(TableId id) {
    return m_catalogue.TableFor(id);
}
