// One column value of one audit row: the column's name, its SQL kind, its role
// in the table's key, and the value as the text of its literal. Every value
// starts as "NULL", the SQL null, until a handler sets it.
//   ColumnData sessionId("SESSION_ID", ColumnType::kText, ColumnKey::kKey);
//   sessionId.SetValue("s1");
//   copyOfRow = sessionId;  // only between values of the same column
#pragma once

#include <string>

// How a value is written as a literal: TIMESTAMP '...', bare digits, or '...'.
enum class ColumnType {
    kDate = 0,
    kNumeric = 1,
    kText = 2,
};

// The column's role: kKey columns name the row in WHERE clauses; kReference
// columns point at the dispatcher row and, like keys, refuse over-long values.
enum class ColumnKey {
    kOrdinary = 0,
    kKey = 1,
    kReference = 2,
};

class ColumnData {
  public:
    // The text that stands for the SQL null; it is never quoted.
    static const std::string kNull;

    ColumnData(std::string name, ColumnType type, ColumnKey key);
    ColumnData(const ColumnData& rhs) = default;
    // Copies the value only; asserts that both sides describe the same column.
    ColumnData& operator=(const ColumnData& rhs);

    // Same column: name, type and key role (the values may differ).
    bool operator==(const ColumnData& rhs) const;
    bool operator!=(const ColumnData& rhs) const { return !(*this == rhs); }

    const std::string& GetName() const { return m_name; }
    ColumnType GetType() const { return m_type; }
    ColumnKey GetKey() const { return m_key; }
    // The literal's text in final form, unescaped: digits, a timestamp, free text or "NULL".
    const std::string& GetValue() const { return m_value; }
    void SetValue(const std::string& value) { m_value = value; }
    bool IsNull() const { return m_value == kNull; }

  private:
    std::string m_name;
    ColumnType m_type;
    ColumnKey m_key;
    std::string m_value;
};
