// A list of audit records kept for a caller, stored into and loaded from an
// attribute tree: one child tree per record, named "a0", "a1", ...
//   AuditInfo info(context);
//   info.addAuditRecord(record);
//   AttributeTree tree;
//   info.Store(&tree);   // tree now has the child "a0" with nine attributes
#pragma once

#include <list>

#include "auditRecord.h"

class AttributeTree;

class AuditInfo {
  public:
    // `context` belongs to the caller; it is kept and never read here.
    explicit AuditInfo(unsigned char* context);
    ~AuditInfo();
    AuditInfo(const AuditInfo&) = delete;
    AuditInfo& operator=(const AuditInfo&) = delete;

    // Appends a copy of `record`.
    void addAuditRecord(AuditRecord& record);
    // Empties the list.
    void EraseAuditInfo();
    // Inserts one child tree per record into `tree`; aux texts are not stored.
    void Store(AttributeTree* tree);
    // Appends one record per child tree of `tree`.
    void Load(AttributeTree* tree);

    const std::list<AuditRecord>& records() const { return m_records; }
    unsigned char* context() const { return m_context; }

  private:
    unsigned char* m_context;
    std::list<AuditRecord> m_records;
};
