// A read-only view of one split audit line whose positions are always checked:
// a position past the end throws std::out_of_range, so a short line stops the
// file instead of reading beyond the vector.
//   const CheckedLine line(fields);
//   const std::string& format = line[AuditSupport::msg_format];
#pragma once

#include <cstddef>
#include <string>
#include <vector>

class CheckedLine {
  public:
    explicit CheckedLine(const std::vector<std::string>& fields) : m_fields(fields) {}

    // The field at that position; std::out_of_range when the line is shorter.
    const std::string& operator[](std::size_t position) const { return m_fields.at(position); }

  private:
    const std::vector<std::string>& m_fields;
};
