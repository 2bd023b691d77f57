#include "parser.h"

Parser::Parser(const AFPOptions& runOptions, SQLDB* database, const std::string& programDirectory)
    : db(database), options(runOptions), programDir(programDirectory) {
    CreateAuditDBTableMap();
    DescribeAuditDBTables();
}

Parser::~Parser() = default;

Table* Parser::TableFor(TableId id) {
    return tables[id].get();
}
