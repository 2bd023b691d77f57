// A named tree of text attributes with child trees, in insertion order; the
// form in which a list of audit records is handed between components.
//   AttributeTree record("a0");
//   record.insertAttribute("type", "I");
//   AttributeTree all;
//   all.insertTree(std::move(record));
//   const std::string* type = all.children().at(0).getAttribute("type");
#pragma once

#include <string>
#include <utility>
#include <vector>

class AttributeTree {
  public:
    explicit AttributeTree(std::string name = std::string()) : m_name(std::move(name)) {}

    const std::string& name() const { return m_name; }

    // Sets `key` to `value`; an earlier value of the same key is replaced in place.
    void insertAttribute(const std::string& key, const std::string& value);
    // The value of `key`, or NULL when the tree has none.
    const std::string* getAttribute(const std::string& key) const;
    const std::vector<std::pair<std::string, std::string>>& attributes() const {
        return m_attributes;
    }

    // Appends `child` after the existing children and returns it.
    AttributeTree& insertTree(AttributeTree child);
    // The first child of that name, or NULL.
    const AttributeTree* getTree(const std::string& name) const;
    const std::vector<AttributeTree>& children() const { return m_children; }

    // Drops every attribute and child.
    void clear();

  private:
    std::string m_name;
    std::vector<std::pair<std::string, std::string>> m_attributes;
    std::vector<AttributeTree> m_children;
};
