#include "tableAccess.h"

#include <charconv>
#include <cstddef>
#include <optional>

#include "cppWebException.h"
#include "knownKeys.h"
#include "krlAssertError.h"
#include "messenger.h"
#include "programGlobals.h"
#include "sqlValueCheck.h"
#include "sqldbapi.h"
#include "table.h"

namespace {

const char kSourceFile[] = "auditfileprocessor/source/tableAccess";
const char kTimestampPrefix[] = "TIMESTAMP ";
const char kListSeparator[] = ", ";
const char kWhereSeparator[] = " AND ";
// Room for a statement's text: most of the loader's statements fit.
const size_t kStatementRoom = 512;

// A described text length includes 2 bytes that do not hold data.
const long kUnusableTextBytes = 2;

// Cuts `value` to the longest prefix of at most `width` bytes that does not end
// inside a UTF-8 character. Only the bytes of one character are given back, so
// text that is not UTF-8 loses at most 3 bytes more than the width asks.
void TruncateOnCharacterBoundary(std::string& value, size_t width) {
    if (value.size() <= width) {
        return;
    }
    size_t cut = width;
    for (int step = 0; step < 3 && cut > 0; ++step) {
        const unsigned char firstDropped = static_cast<unsigned char>(value[cut]);
        if ((firstDropped & 0xC0) != 0x80) {
            break;  // not a continuation byte: the cut is on a boundary
        }
        --cut;
    }
    if ((static_cast<unsigned char>(value[cut]) & 0xC0) == 0x80) {
        cut = width;  // no lead byte within reach: not UTF-8, keep the byte cut
    }
    value.resize(cut);
}

void AppendQuoted(std::string& clause, const std::string& value) {
    clause += '\'';
    clause += value;
    clause += '\'';
}

void AppendNamed(std::string& clause, const std::string& columnName) {
    clause += columnName;
    clause += '=';
}

// Marks a session whose stored rows are all known to this loader: it created
// the session in this run, or asked for the session with its requests and
// sources. A look-up of any other row of it then finds none.
const char kCompleteSession[] = "complete\t";
const char kSessionColumn[] = "SESSION_ID";

// Whether a session's name can travel in the look-up's tab-separated list
// and its comment line in the dump.
bool ListableSession(const std::string& sessionId) {
    if (sessionId.empty()) {
        return false;
    }
    for (const char c : sessionId) {
        if (static_cast<unsigned char>(c) < 0x20) {
            return false;
        }
    }
    return true;
}

// One branch of the look-up: the kind of row, then up to three key columns.
std::string StoredKeysBranch(const char* kind, const std::string& table, const char* columns) {
    return std::string("SELECT ") + kind + ", " + columns + " FROM " + table +
           " WHERE SESSION_ID = ANY (string_to_array($1, chr(9)))";
}

}  // namespace

TableAccess::TableAccess(const Table* table) : m_table(table) {
    // Every statement names the table; an accessor without one is a wiring error.
    KRL_ASSERT(m_table != NULL, kSourceFile, __LINE__);
}

const std::string& TableAccess::TableName() const {
    return m_table->name;
}

bool TableAccess::WhereCond(const ColumnData& column) {
    return column.GetKey() != ColumnKey::kKey;
}

bool TableAccess::SetCond(const ColumnData& column) {
    return column.IsNull();
}

void TableAccess::UseDialectOf(SQLDB* db) const {
    m_session = db;
    if (db != nullptr) {
        m_typedDateLiterals = db->usesTypedDateLiterals();
    }
}

std::string TableAccess::KeyOf(const ColumnList& row) const {
    std::string key = TableName();
    for (const ColumnData* column : row) {
        if (!WhereCond(*column)) {
            key += '\t';
            key += column->IsNull() ? std::string(1, '\0') : column->GetValue();
        }
    }
    return key;
}

void TableAccess::LearnWritten(SQLDB* db, const ColumnList& row) const {
    if (db == nullptr || !db->canHoldBatches()) {
        return;
    }
    KnownKeys& known = db->knownKeys();
    known.Learn(KeyOf(row));
    const ColumnData* onlyKey = nullptr;
    int keys = 0;
    for (const ColumnData* column : row) {
        if (!WhereCond(*column)) {
            onlyKey = column;
            ++keys;
        }
    }
    if (keys == 1 && onlyKey->GetName() == kSessionColumn) {
        known.Learn(kCompleteSession + onlyKey->GetValue());
    }
}

int TableAccess::LookUp(SQLDB* db, const BoundStatement& statement,
                        const ColumnList& keyRow) const {
    if (db == nullptr || !db->canHoldBatches()) {
        return ExecuteSelectSQLStatement(db, statement);
    }
    const std::string key = KeyOf(keyRow);
    KnownKeys& known = db->knownKeys();
    if (db->isHolding()) {
        if (known.Knows(key)) {
            db->holdLookup(statement, true);
            return 1;
        }
        ColumnList keys;
        for (const ColumnData* column : keyRow) {
            if (!WhereCond(*column)) {
                keys.push_back(column);
            }
        }
        if (!keys.empty() && keys.front()->GetName() == kSessionColumn &&
            known.Knows(kCompleteSession + keys.front()->GetValue())) {
            db->holdLookup(statement, false);
            return 0;
        }
    }
    const int found = ExecuteSelectSQLStatement(db, statement);
    if (found == 1) {
        known.Learn(key);
    }
    return found;
}

void TableAccess::LearnStoredSessions(SQLDB* db, const StoredKeyTables& tables,
                                      const std::vector<std::string>& sessionIds) {
    if (db == nullptr || !db->isHolding() || tables.session == nullptr ||
        tables.request == nullptr || tables.userSource == nullptr) {
        return;
    }
    KnownKeys& known = db->knownKeys();
    std::string list;
    std::vector<const std::string*> asked;
    for (const std::string& sessionId : sessionIds) {
        const std::string marker = kCompleteSession + sessionId;
        if (ListableSession(sessionId) && !known.Knows(marker)) {
            known.LearnStored(marker);  // kept apart from duplicates until the answer
            list += list.empty() ? "" : "\t";
            list += sessionId;
            asked.push_back(&sessionId);
        }
    }
    if (asked.empty()) {
        return;
    }
    const std::string shape =
        StoredKeysBranch("1", tables.session->name, "SESSION_ID, NULL, NULL") + " UNION ALL " +
        StoredKeysBranch("2", tables.request->name, "SESSION_ID, REQUEST_ID, NULL") +
        " UNION ALL " +
        StoredKeysBranch("3", tables.userSource->name, "SESSION_ID, SOURCE_NAME, SOURCE_TYPE");
    if (g_SQLDumpFile != nullptr) {
        // Bookkeeping, not a statement of the audit tables: a comment, so that
        // a replay of the dump runs the same statements.
        std::string quoted = list;
        CheckTextColumnValueForSingleQuotes(quoted);
        std::string literal = shape;
        for (size_t at = literal.find("$1"); at != std::string::npos; at = literal.find("$1", at)) {
            literal.replace(at, 2, "'" + quoted + "'");
            at += quoted.size() + 2;
        }
        SQLDB::WriteToDump(kBookkeepingDumpPrefix + ("look-up: " + literal));
    }
    BoundStatement bound;
    bound.addValue(BoundStatement::kText, false, list);
    bound.setShape(shape);
    LearnStoredRows(db, bound, tables);
}

void TableAccess::LearnStoredRows(SQLDB* db, const BoundStatement& statement,
                                  const StoredKeyTables& tables) {
    KnownKeys& known = db->knownKeys();
    // Unknown keys must not pass for absent ones: on any failure the markers
    // go with every other key.
    try {
        if (db->execute(statement, SQLDB::kQuery) == nullptr) {
            known.Forget();
            return;
        }
        for (SqlDA* row = db->fetch(); row != nullptr; row = db->fetch()) {
            const std::vector<std::optional<std::string>>& values = row->row;
            if (values.size() < 4 || !values[0] || !values[1]) {
                continue;
            }
            const char kind = values[0]->empty() ? '1' : values[0]->front();
            std::string key = kind == '1'   ? tables.session->name
                              : kind == '2' ? tables.request->name
                                            : tables.userSource->name;
            for (size_t i = 1; i < (kind == '1' ? 2u : kind == '2' ? 3u : 4u); ++i) {
                key += '\t';
                key += values[i] ? *values[i] : std::string(1, '\0');
            }
            known.LearnStored(key);
        }
    } catch (...) {
        known.Forget();
        db->freeRequest();
        throw;
    }
    db->freeRequest();
}

SqlColType TableAccess::NumericColumnType(const std::string& columnName) const {
    const Column* column = m_table->FindColumn(columnName);
    if (column != nullptr && column->type == kSqlColInteger) {
        return kSqlColInteger;
    }
    return kSqlColBigInt;
}

bool TableAccess::Insert(SQLDB* db, const ColumnList& row) {
    return InsertRow(db, row, false);
}

bool TableAccess::InsertAhead(SQLDB* db) {
    return InsertRow(db, Columns(), true);
}

bool TableAccess::InsertRow(SQLDB* db, const ColumnList& row, bool ahead) {
    UseDialectOf(db);
    m_refusedColumn.clear();
    // The literal text and the shape share the head; reserving room up front
    // spares the reallocations of growing them column by column.
    std::string head;
    head.reserve(kStatementRoom);
    head += "INSERT INTO ";
    head += TableName();
    head += '(';
    for (size_t i = 0; i < row.size(); ++i) {
        head += row[i]->GetName();
        if (i + 1 < row.size()) {
            head += kListSeparator;
        }
    }
    head += ") VALUES (";
    std::string literal = head;
    std::string shape = std::move(head);
    literal.reserve(kStatementRoom);
    shape.reserve(kStatementRoom);
    BoundStatement bound;
    const bool valid = AppendLiterals(literal, shape, bound, Clause::kInsert, row);
    literal += ')';
    shape += ')';
    // A refused statement is shown in the dump as built, but never run.
    WriteSQLStatementToFile(literal, g_SQLDumpFile);
    if (!valid) {
        NoteRefusal(db);
        return false;
    }
    bound.setShape(std::move(shape));
    if (!ahead) {
        const bool inserted = ExecuteUpdateSQLStatement(db, bound);
        if (inserted) {
            LearnWritten(db, row);
        }
        return inserted;
    }
    try {
        if (db != nullptr) {
            db->executeAhead(bound);
            return true;
        }
    } catch (...) {
        // Recorded by the session as the line's failure.
    }
    return false;
}

bool TableAccess::Update(SQLDB* db, const ColumnList& newValues, const ColumnList& keyRow) {
    ColumnList setColumns;
    setColumns.reserve(newValues.size());
    for (const ColumnData* column : newValues) {
        if (!SetCond(*column)) {
            setColumns.push_back(column);
        }
    }
    if (setColumns.empty()) {
        return true;  // nothing to write: the stored row already says it all
    }
    UseDialectOf(db);
    m_refusedColumn.clear();
    std::string literal = "UPDATE " + TableName() + " SET ";
    std::string shape = literal;
    literal.reserve(kStatementRoom);
    shape.reserve(kStatementRoom);
    BoundStatement bound;
    bool valid = AppendLiterals(literal, shape, bound, Clause::kSet, setColumns);
    literal += " WHERE ";
    shape += " WHERE ";
    valid = AppendWhere(literal, shape, bound, keyRow) && valid;
    WriteSQLStatementToFile(literal, g_SQLDumpFile);
    if (!valid) {
        NoteRefusal(db);
        return false;
    }
    bound.setShape(std::move(shape));
    return ExecuteUpdateSQLStatement(db, bound);
}

int TableAccess::Select(SQLDB* db, const ColumnList& keyRow) const {
    UseDialectOf(db);
    m_refusedColumn.clear();
    // Callers only ask whether the row exists, so one column is enough.
    std::string literal = "SELECT  SESSION_ID  FROM " + TableName() + " WHERE ";
    std::string shape = literal;
    literal.reserve(kStatementRoom);
    shape.reserve(kStatementRoom);
    BoundStatement bound;
    const bool valid = AppendWhere(literal, shape, bound, keyRow);
    WriteSQLStatementToFile(literal, g_SQLDumpFile);
    if (!valid) {
        NoteRefusal(db);
        return -1;
    }
    bound.setShape(std::move(shape));
    return LookUp(db, bound, keyRow);
}

bool TableAccess::AppendWhere(std::string& clause, std::string& shape, BoundStatement& bound,
                              const ColumnList& keyRow) const {
    ColumnList keyColumns;
    keyColumns.reserve(keyRow.size());
    for (const ColumnData* column : keyRow) {
        if (!WhereCond(*column)) {
            keyColumns.push_back(column);
        }
    }
    return AppendLiterals(clause, shape, bound, Clause::kWhere, keyColumns);
}

bool TableAccess::AppendLiterals(std::string& clause, std::string& shape, BoundStatement& bound,
                                 Clause form, const ColumnList& columns) const {
    bool valid = true;
    std::string scratch;
    for (size_t i = 0; i < columns.size(); ++i) {
        valid = AppendLiteral(clause, shape, bound, form, *columns[i], i + 1 == columns.size(),
                              scratch) &&
                valid;
    }
    return valid;
}

bool TableAccess::AppendLiteral(std::string& clause, std::string& shape, BoundStatement& bound,
                                Clause form, const ColumnData& column, bool isLast,
                                std::string& scratch) const {
    const std::string& name = column.GetName();
    const std::string& value = column.GetValue();
    const bool null = column.IsNull();
    bool valid = true;
    BoundStatement::Type type = BoundStatement::kText;
    switch (column.GetType()) {
        case ColumnType::kText:
            valid = null || !SqlValueCheck::HasNulByte(value);
            break;
        case ColumnType::kDate:
            type = BoundStatement::kTimestamp;
            valid = SqlValueCheck::IsValidTimestamp(value);
            break;
        case ColumnType::kNumeric: {
            const SqlColType columnType = NumericColumnType(name);
            type =
                columnType == kSqlColInteger ? BoundStatement::kInteger : BoundStatement::kBigInt;
            valid = SqlValueCheck::IsValidNumeric(value, columnType);
            break;
        }
        default:
            KRL_ASSERT(FALSE, kSourceFile, __LINE__);
    }
    std::string& boundText = bound.addValue(type, null, value);
    if (type == BoundStatement::kText && !null && form != Clause::kWhere) {
        CheckTextWidth(m_table, name, boundText, column.GetKey());
    }
    // Literals are only read in the dump: without one they are not written.
    if (g_SQLDumpFile != nullptr) {
        AppendLiteralText(clause, form, column, null ? value : boundText, isLast, scratch);
    }
    if (form != Clause::kInsert) {
        AppendNamed(shape, name);
    }
    shape += '$';
    char digits[16];
    const std::to_chars_result written =
        std::to_chars(digits, digits + sizeof digits, bound.values().size());
    shape.append(digits, written.ptr);
    if (!isLast) {
        shape += form == Clause::kWhere ? kWhereSeparator : kListSeparator;
    }
    if (!valid && m_refusedColumn.empty()) {
        m_refusedColumn = name;
    }
    return valid;
}

void TableAccess::AppendLiteralText(std::string& clause, Clause form, const ColumnData& column,
                                    const std::string& value, bool isLast,
                                    std::string& scratch) const {
    using A = TableAccess;
    using InsertForm = void (A::*)(std::string&, const std::string&, bool) const;
    using NamedForm = void (A::*)(std::string&, const std::string&, const std::string&, bool) const;
    const std::string* text = &value;
    InsertForm insert = &A::AddTextValueForInsert;
    NamedForm set = &A::AddTextValueForUpdateSetClause;
    NamedForm where = &A::AddTextValueForWhereClause;
    if (column.GetType() == ColumnType::kText && !column.IsNull() &&
        value.find('\'') != std::string::npos) {
        // The row keeps its unescaped value; the literal gets an escaped copy.
        scratch.assign(value);
        CheckTextColumnValueForSingleQuotes(scratch);
        text = &scratch;
    } else if (column.GetType() == ColumnType::kDate) {
        insert = &A::AddDateValueForInsert;
        set = &A::AddDateValueForUpdateSetClause;
        where = &A::AddDateValueForWhereClause;
    } else if (column.GetType() == ColumnType::kNumeric) {
        insert = &A::AddNumericValueForInsert;
        set = &A::AddNumericValueForUpdateSetClause;
        where = &A::AddNumericValueForWhereClause;
    }
    if (form == Clause::kInsert) {
        (this->*insert)(clause, *text, isLast);
    } else {
        (this->*(form == Clause::kSet ? set : where))(clause, column.GetName(), *text, isLast);
    }
}

void TableAccess::NoteRefusal(SQLDB* db) const {
    if (db != nullptr) {
        db->noteRefusedStatement("the value of column " + m_refusedColumn + " of table " +
                                 TableName() + " is not valid for its type");
    }
}

bool TableAccess::ExecuteUpdateSQLStatement(SQLDB* db, const BoundStatement& statement) const {
    if (db == nullptr) {
        return false;
    }
    // The session's failure text is not shown: a bad row is the caller's to report.
    bool ran = false;
    try {
        db->execute(statement, SQLDB::kUpdate);
        ran = true;
    } catch (...) {
    }
    try {
        db->freeRequest();
    } catch (...) {
    }
    return ran;
}

int TableAccess::ExecuteSelectSQLStatement(SQLDB* db, const BoundStatement& statement) const {
    if (db == nullptr) {
        return -1;
    }
    int found = -1;
    try {
        found = db->execute(statement, SQLDB::kQuery) != nullptr && db->fetch() != nullptr ? 1 : 0;
    } catch (...) {
        found = -1;
    }
    try {
        db->freeRequest();
    } catch (...) {
    }
    return found;
}

void TableAccess::AddTextValueForInsert(std::string& clause, const std::string& value,
                                        bool isLast) const {
    if (value == ColumnData::kNull) {
        clause += value;
    } else {
        AppendQuoted(clause, value);
    }
    if (!isLast) {
        clause += kListSeparator;
    }
}

void TableAccess::AddDateValueForInsert(std::string& clause, const std::string& value,
                                        bool isLast) const {
    if (value == ColumnData::kNull) {
        clause += value;
    } else {
        if (m_typedDateLiterals) {
            clause += kTimestampPrefix;
        }
        AppendQuoted(clause, value);
    }
    if (!isLast) {
        clause += kListSeparator;
    }
}

void TableAccess::AddNumericValueForInsert(std::string& clause, const std::string& value,
                                           bool isLast) const {
    clause += value;
    if (!isLast) {
        clause += kListSeparator;
    }
}

void TableAccess::AddTextValueForUpdateSetClause(std::string& clause, const std::string& columnName,
                                                 const std::string& value, bool isLast) const {
    AppendNamed(clause, columnName);
    AddTextValueForInsert(clause, value, isLast);
}

void TableAccess::AddDateValueForUpdateSetClause(std::string& clause, const std::string& columnName,
                                                 const std::string& value, bool isLast) const {
    AppendNamed(clause, columnName);
    AddDateValueForInsert(clause, value, isLast);
}

void TableAccess::AddNumericValueForUpdateSetClause(std::string& clause,
                                                    const std::string& columnName,
                                                    const std::string& value, bool isLast) const {
    AppendNamed(clause, columnName);
    AddNumericValueForInsert(clause, value, isLast);
}

void TableAccess::AddTextValueForWhereClause(std::string& clause, const std::string& columnName,
                                             const std::string& value, bool isLast) const {
    AppendNamed(clause, columnName);
    AddTextValueForInsert(clause, value, true);
    if (!isLast) {
        clause += kWhereSeparator;
    }
}

void TableAccess::AddDateValueForWhereClause(std::string& clause, const std::string& columnName,
                                             const std::string& value, bool isLast) const {
    AppendNamed(clause, columnName);
    AddDateValueForInsert(clause, value, true);
    if (!isLast) {
        clause += kWhereSeparator;
    }
}

void TableAccess::AddNumericValueForWhereClause(std::string& clause, const std::string& columnName,
                                                const std::string& value, bool isLast) const {
    AppendNamed(clause, columnName);
    clause += value;
    if (!isLast) {
        clause += kWhereSeparator;
    }
}

void TableAccess::ValidateTextColumnValue(const Table* table, const std::string& columnName,
                                          std::string& value, const ColumnKey& key) const {
    CheckTextWidth(table, columnName, value, key);
    // After the width check, so an escaped value may exceed the width by its quotes.
    CheckTextColumnValueForSingleQuotes(value);
}

void TableAccess::CheckTextWidth(const Table* table, const std::string& columnName,
                                 std::string& value, const ColumnKey& key) const {
    const Column* column = table != nullptr ? table->FindColumn(columnName) : nullptr;
    if (column != nullptr) {
        const long usable = column->length - kUnusableTextBytes;
        const size_t width = usable > 0 ? static_cast<size_t>(usable) : 0;
        if (value.size() > width && m_session != nullptr && m_session->isHolding()) {
            // Its messages must appear once: the batch is replayed and shows them.
            m_session->abandonHeldBatch("a value is longer than its column");
            return;
        }
        if (value.size() > width) {
            Messenger& messenger = Messenger::Get();
            const std::string length = std::to_string(value.size());
            messenger.DisplayMessage(30, columnName, g_CurrentAuditFile);
            if (key != ColumnKey::kOrdinary) {
                // A cut key would name another row: refuse the whole row.
                messenger.DisplayMessage(32, columnName, table->name);
                messenger.DisplayMessage(33, columnName, length);
                throw CPPWebException(
                    1,
                    "the value of key column " + columnName + " of table " + table->name + " is " +
                        length + " bytes long, more than the column holds",
                    1,
                    ExceptionLocation{kSourceFile, __LINE__, "TableAccess::ValidateTextColumnValue",
                                      "KRL_THROW"});
            }
            messenger.DisplayMessage(31, columnName, table->name);
            messenger.DisplayMessage(33, columnName, length);
            TruncateOnCharacterBoundary(value, width);
        }
    }
}

void TableAccess::CheckTextColumnValueForSingleQuotes(std::string& value) {
    size_t quote = value.find('\'');
    if (quote == std::string::npos) {
        return;
    }
    std::string escaped;
    escaped.reserve(value.size() + 8);
    size_t from = 0;
    for (; quote != std::string::npos; quote = value.find('\'', from)) {
        escaped.append(value, from, quote + 1 - from);
        escaped += '\'';
        from = quote + 1;
    }
    escaped.append(value, from, std::string::npos);
    value.swap(escaped);
}

void TableAccess::WriteSQLStatementToFile(const std::string& statement, FILE* stream) const {
    // The session writes the dump, whose file is the only stream there is.
    KRL_ASSERT(stream == nullptr || stream == g_SQLDumpFile, kSourceFile, __LINE__);
    if (stream != nullptr) {
        SQLDB::WriteToDump(statement);
    }
}

void TableAccess::CopyColumnsOut(std::vector<ColumnData>& col, const ColumnList& members) {
    col.clear();
    col.reserve(members.size());
    for (const ColumnData* member : members) {
        col.push_back(*member);
    }
}

void TableAccess::CopyColumnsIn(const std::vector<ColumnData>& col,
                                std::initializer_list<ColumnData*> members) {
    std::vector<ColumnData>::const_iterator it = col.begin();
    for (ColumnData* member : members) {
        KRL_ASSERT(it != col.end(), kSourceFile, __LINE__);
        *member = *it;  // asserts the same name, type and key
        ++it;
    }
    KRL_ASSERT(it == col.end(), kSourceFile, __LINE__);
}
