#include "tableCatalogue.h"

#include <exception>
#include <memory>
#include <string>

#include "cppWebException.h"
#include "messenger.h"
#include "sqldbapi.h"

namespace {

struct TableName {
    TableId id;
    const char* name;
};

constexpr TableName kAuditTables[] = {
    {kDispatcherTable, "QXES_DISPATCHER"},
    {kSessionTable, "QXES_SESSION"},
    {kRequestTable, "QXES_REQUEST"},
    {kAdminSourceTable, "QXES_ADMIN_SOURCE"},
    {kUserSourceTable, "QXES_USER_SOURCE"},
    {kDimUsageTable, "QXES_DIM_USAGE"},
    {kMeasureUsageTable, "QXES_MEASURE_USAGE"},
    {kLevelUsageTable, "QXES_LEVEL_USAGE"},
};

// An exception's own text: a code-only CPPWebException still says its code.
std::string TextOf(const std::exception& caught) {
    if (const auto* web = dynamic_cast<const CPPWebException*>(&caught)) {
        if (!web->getErrorCodeMessage().empty()) {
            return web->getErrorCodeMessage();
        }
    }
    return caught.what();
}

std::string DescribeFailureText(const std::string& cause) {
    std::string text;
    GetMessage(6, text);
    return text + cause;
}

}  // namespace

TableCatalogue::TableCatalogue() {
    for (const TableName& table : kAuditTables) {
        m_tables[table.id] = std::make_unique<Table>(table.name);
    }
}

void TableCatalogue::Describe(SQLDB* db) {
    db->startTransaction();
    if (!db->isTransactionOpen()) {
        throw CPPWebException(3, 1, {"parser", 1392, "Parser::Parse", "KRL_THROW"});
    }
    try {
        // The map is ordered by TableId, so tables are described in id order.
        for (auto& entry : m_tables) {
            Table* table = entry.second.get();
            if (table == nullptr) {
                continue;
            }
            SqlDA* descriptor = db->execute("SELECT * FROM " + table->name, SQLDB::kQuery);
            AddColumns(table, descriptor);
            db->freeRequest();
        }
        db->commit(1);
    } catch (const std::exception& caught) {
        db->freeRequest();
        db->commit(0);
        throw CPPWebException(DescribeFailureText(TextOf(caught)), 1,
                              {"parser", 1412, "Parser::Parse", "KRL_THROW"});
    }
}

Table* TableCatalogue::TableFor(TableId id) {
    return m_tables[id].get();
}

void TableCatalogue::AddColumns(Table* table, SqlDA* descriptor) {
    try {
        if (table == nullptr || descriptor == nullptr) {
            return;
        }
        for (const SqlDA::ColumnDescription& column : descriptor->columns) {
            table->columns.emplace_back(column.name, column.type, column.length);
        }
    } catch (const std::exception& caught) {
        throw CPPWebException(
            DescribeFailureText(TextOf(caught)), 1,
            {"parser", 1440, "SqlStRequest::GetColumnDescripForTable", "KRL_THROW"});
    }
}
