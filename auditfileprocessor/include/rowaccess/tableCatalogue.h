// The table catalogue: the eight audit tables and the columns the database
// reports for each, read once before any file is loaded.
//   TableCatalogue catalogue;
//   catalogue.Describe(&db);  // one query per table, in TableId order
//   RequestTableAccess request(catalogue.TableFor(kRequestTable));
#pragma once

#include <map>
#include <memory>

#include "table.h"
#include "tableId.h"

class SQLDB;
struct SqlDA;

class TableCatalogue {
  public:
    // The eight tables by name, with no columns yet.
    TableCatalogue();

    // Reads every table's columns in a transaction of its own, which it leaves
    // closed; a failure is a CPPWebException that says which query failed.
    void Describe(SQLDB* db);

    // The table of that id; an absent entry is made with no table behind it.
    Table* TableFor(TableId id);

  private:
    static void AddColumns(Table* table, SqlDA* descriptor);

    std::map<TableId, std::unique_ptr<Table>> m_tables;
};
