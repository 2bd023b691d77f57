// TableAccess is the base of the audit table accessors: it turns one row (a
// list of column values in table order) into an INSERT, UPDATE or SELECT
// statement, checks text values against the column widths of the table
// catalogue, copies the statement with its values written as SQL literals to
// the SQL dump file, and runs it on the session with the same values bound to
// the statement's shape, each typed as its literal. A failing statement never
// stops the run here: the caller gets a result (true or false; 1, 0 or -1 for
// a select).
//   SessionTableAccess session(table);  // a concrete accessor
//   session.m_sessionId.SetValue("s1");
//   if (session.Select(db) == 0) { session.Insert(db); }
#pragma once

#include <cstdio>
#include <initializer_list>
#include <string>
#include <vector>

#include "boundStatement.h"
#include "columnData.h"
#include "sqlColType.h"

class SQLDB;
class Table;

class TableAccess {
  public:
    // Inserts the accessor's row.
    virtual bool Insert(SQLDB* db) = 0;
    // Updates the row named by this accessor's key columns with the values of
    // `newValues` that are not "NULL"; the others keep what is stored.
    virtual bool Update(SQLDB* db, const TableAccess& newValues) = 0;
    // 1 when the row named by the key columns exists, 0 when not, -1 on failure.
    virtual int Select(SQLDB* db) const = 0;
    // Replaces `col` by a copy of every column, in table order.
    virtual void GetColumnCollectionValues(std::vector<ColumnData>& col) const = 0;
    // Takes the values of `col`, which must hold exactly the table's columns in order.
    virtual void SetColumnCollectionValues(const std::vector<ColumnData>& col) = 0;

    // The accessor's own columns, in table order: what the row operations
    // read, without copying a value.
    using ColumnList = std::vector<const ColumnData*>;
    virtual ColumnList Columns() const = 0;

    const Table* GetTable() const { return m_table; }

    // Inserts the accessor's row like Insert(), without waiting for the
    // result: a failure comes back from the session's runAhead(), which the
    // line calls before it ends. False when the row was refused here.
    bool InsertAhead(SQLDB* db);

    // The row operations behind the accessors' own.
    bool Insert(SQLDB* db, const ColumnList& row);
    bool Update(SQLDB* db, const ColumnList& newValues, const ColumnList& keyRow);
    int Select(SQLDB* db, const ColumnList& keyRow) const;

    // The tables whose keys a held batch asks for ahead of its lines.
    struct StoredKeyTables {
        const Table* session;
        const Table* request;
        const Table* userSource;
    };
    // How the dump shows that look-up, and other notes of held batches: a
    // comment line, since it changes nothing and a replay need not run it.
    static constexpr const char* kBookkeepingDumpPrefix = "-- bookkeeping: ";
    // In a held batch: asks in one query which of `sessionIds` are stored,
    // with their requests and user sources, so that the batch's look-ups of
    // them are predicted rather than waited for. Sessions known already are
    // not asked for again.
    static void LearnStoredSessions(SQLDB* db, const StoredKeyTables& tables,
                                    const std::vector<std::string>& sessionIds);

    // True for every column but the keys; the keys form WHERE clauses.
    static bool WhereCond(const ColumnData& column);
    // True for a null value; the other columns form SET clauses.
    static bool SetCond(const ColumnData& column);

    // Run one statement and always release it: true when it ran.
    bool ExecuteUpdateSQLStatement(SQLDB* db, const BoundStatement& statement) const;
    // Run one query and fetch once: 1 a row came back, 0 none, -1 failure.
    int ExecuteSelectSQLStatement(SQLDB* db, const BoundStatement& statement) const;

    // Append one literal; `value` is already checked and escaped. "NULL" is
    // written bare. Items are separated by ", " (insert, SET) or " AND " (WHERE).
    void AddTextValueForInsert(std::string& clause, const std::string& value, bool isLast) const;
    void AddDateValueForInsert(std::string& clause, const std::string& value, bool isLast) const;
    void AddNumericValueForInsert(std::string& clause, const std::string& value, bool isLast) const;
    void AddTextValueForUpdateSetClause(std::string& clause, const std::string& columnName,
                                        const std::string& value, bool isLast) const;
    void AddDateValueForUpdateSetClause(std::string& clause, const std::string& columnName,
                                        const std::string& value, bool isLast) const;
    void AddNumericValueForUpdateSetClause(std::string& clause, const std::string& columnName,
                                           const std::string& value, bool isLast) const;
    void AddTextValueForWhereClause(std::string& clause, const std::string& columnName,
                                    const std::string& value, bool isLast) const;
    void AddDateValueForWhereClause(std::string& clause, const std::string& columnName,
                                    const std::string& value, bool isLast) const;
    void AddNumericValueForWhereClause(std::string& clause, const std::string& columnName,
                                       const std::string& value, bool isLast) const;

    // Checks a text value against its column's width (described length minus
    // 2): an over-long ordinary value is cut, an over-long key or reference
    // raises CPPWebException code 1. Then doubles its single quotes.
    void ValidateTextColumnValue(const Table* table, const std::string& columnName,
                                 std::string& value, const ColumnKey& key) const;
    // Doubles every single quote.
    static void CheckTextColumnValueForSingleQuotes(std::string& value);
    // Writes a newline and the statement to an open dump stream.
    void WriteSQLStatementToFile(const std::string& statement, FILE* stream) const;

    // Chooses how dates are written, TIMESTAMP '...' (true) or '...' (false),
    // until the next operation takes the choice from its session.
    void SetTypedDateLiterals(bool typed) const { m_typedDateLiterals = typed; }

  protected:
    explicit TableAccess(const Table* table);
    // Accessors live as locals of the handlers and are never deleted through the base.
    ~TableAccess() = default;
    TableAccess(const TableAccess&) = default;
    TableAccess& operator=(const TableAccess&) = default;

    // The accessors' collections: copy the members out, or take values in.
    static void CopyColumnsOut(std::vector<ColumnData>& col, const ColumnList& members);
    static void CopyColumnsIn(const std::vector<ColumnData>& col,
                              std::initializer_list<ColumnData*> members);

  private:
    enum class Clause { kInsert, kSet, kWhere };

    bool InsertRow(SQLDB* db, const ColumnList& row, bool ahead);
    // Checks one column, appends its literal in the clause's form, and its
    // placeholder to the clause's shape with its value to `bound`; false when
    // its value must not reach the database.
    bool AppendLiteral(std::string& clause, std::string& shape, BoundStatement& bound, Clause form,
                       const ColumnData& column, bool isLast, std::string& scratch) const;
    // Appends the literal of a checked value in the clause's form.
    void AppendLiteralText(std::string& clause, Clause form, const ColumnData& column,
                           const std::string& value, bool isLast, std::string& scratch) const;
    // Appends the WHERE clause of the key columns of `keyRow` in both forms.
    bool AppendWhere(std::string& clause, std::string& shape, BoundStatement& bound,
                     const ColumnList& keyRow) const;
    // Appends every column of `columns` with AppendLiteral; false when any is refused.
    bool AppendLiterals(std::string& clause, std::string& shape, BoundStatement& bound, Clause form,
                        const ColumnList& columns) const;
    // Cuts an over-long ordinary text to its column's width, or raises
    // CPPWebException code 1 for an over-long key or reference.
    void CheckTextWidth(const Table* table, const std::string& columnName, std::string& value,
                        const ColumnKey& key) const;
    // The integer type that bounds a numeric column's values.
    SqlColType NumericColumnType(const std::string& columnName) const;
    // Takes the date dialect of the session that will run the statement.
    void UseDialectOf(SQLDB* db) const;
    // The look-up of `keyRow`, answered from the keys known in this run when
    // the session holds its batch, else asked; what it finds becomes known.
    int LookUp(SQLDB* db, const BoundStatement& statement, const ColumnList& keyRow) const;
    // Makes the row of `row`'s key columns known once the row is written.
    void LearnWritten(SQLDB* db, const ColumnList& row) const;
    // The table and the values of the key columns: a row as KnownKeys knows it.
    std::string KeyOf(const ColumnList& row) const;
    // Runs the look-up of LearnStoredSessions and learns every key it returns.
    static void LearnStoredRows(SQLDB* db, const BoundStatement& statement,
                                const StoredKeyTables& tables);
    // Tells the session why the statement was not run.
    void NoteRefusal(SQLDB* db) const;
    const std::string& TableName() const;

    const Table* m_table;
    // The dialect of the statement being built; the literal appenders read it.
    mutable bool m_typedDateLiterals = true;
    // The session of the statement being built.
    mutable SQLDB* m_session = nullptr;
    // The first column whose value failed its checks in the statement being built.
    mutable std::string m_refusedColumn;
};
