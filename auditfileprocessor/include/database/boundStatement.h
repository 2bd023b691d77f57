// BoundStatement is a statement as the database runs it: its shape, the text
// with a numbered placeholder ($1, $2, ...) for each value, which is the same
// for every row written to one table by one operation with one set of columns,
// and the values in placeholder order, each typed as its literal would be.
// Drivers compile a shape once and run it with each row's values.
//   BoundStatement statement;
//   statement.setShape("INSERT INTO QXES_SESSION(SESSION_ID) VALUES ($1)");
//   statement.addValue(BoundStatement::kText, false, "O'Hara");  // quotes not doubled
#pragma once

#include <string>
#include <utility>
#include <vector>

class BoundStatement {
  public:
    // What a value's literal meant: quoted text, a 32- or 64-bit integer, or a
    // date (text on a database without typed date literals).
    enum Type { kText, kInteger, kBigInt, kTimestamp };

    struct Value {
        Type type;
        bool null;         // the SQL null; `text` is then empty
        std::string text;  // the value as written, never escaped
    };

    const std::string& shape() const { return m_shape; }
    const std::vector<Value>& values() const { return m_values; }

    void setShape(std::string shape) { m_shape = std::move(shape); }
    // Adds the value of the next placeholder, $N for the Nth value, and gives
    // back its stored text for a caller that must still cut it to size.
    std::string& addValue(Type type, bool null, const std::string& text);

  private:
    std::string m_shape;
    std::vector<Value> m_values;
};
