#include "parser.h"

#include <utility>

Parser::Parser(AFPOptions runOptions, SQLDB* database, const std::string& programDirectory)
    : db(database), options(std::move(runOptions)), programDir(programDirectory) {
    CreateAuditDBTableMap();
    DescribeAuditDBTables();
}

Parser::~Parser() = default;

Table* Parser::TableFor(TableId id) {
    return tables[id].get();
}
