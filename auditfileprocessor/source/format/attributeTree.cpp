#include "attributeTree.h"

void AttributeTree::insertAttribute(const std::string& key, const std::string& value) {
    for (auto& attribute : m_attributes) {
        if (attribute.first == key) {
            attribute.second = value;
            return;
        }
    }
    m_attributes.emplace_back(key, value);
}

const std::string* AttributeTree::getAttribute(const std::string& key) const {
    for (const auto& attribute : m_attributes) {
        if (attribute.first == key) {
            return &attribute.second;
        }
    }
    return nullptr;
}

AttributeTree& AttributeTree::insertTree(AttributeTree child) {
    m_children.push_back(std::move(child));
    return m_children.back();
}

const AttributeTree* AttributeTree::getTree(const std::string& name) const {
    for (const auto& child : m_children) {
        if (child.m_name == name) {
            return &child;
        }
    }
    return nullptr;
}

void AttributeTree::clear() {
    m_attributes.clear();
    m_children.clear();
}
