#include "parser.h"

#include <utility>

Parser::Parser(AFPOptions options, SQLDB* db, const std::string& programDir)
    : db(db), options(std::move(options)), programDir(programDir) {
    CreateAuditDBTableMap();
    DescribeAuditDBTables();
}

Parser::~Parser() = default;

Table* Parser::TableFor(TableId id) {
    return tables[id].get();
}
