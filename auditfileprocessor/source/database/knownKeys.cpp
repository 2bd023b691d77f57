#include "knownKeys.h"

#include <utility>

bool KnownKeys::Knows(const std::string& key) const {
    return m_committed.count(key) != 0 || m_batch.count(key) != 0;
}

void KnownKeys::Learn(const std::string& key) {
    if (!Knows(key)) {
        m_batch.insert(key);
        m_line.push_back(key);
    }
}

void KnownKeys::LearnStored(const std::string& key) {
    if (m_committed.size() >= kMaxKeys) {
        m_committed.clear();
    }
    m_committed.insert(key);
}

void KnownKeys::Forget() {
    m_committed.clear();
    m_batch.clear();
    m_line.clear();
}

void KnownKeys::EndLine(bool keep) {
    if (!keep) {
        for (const std::string& key : m_line) {
            m_batch.erase(key);
        }
    }
    m_line.clear();
}

void KnownKeys::EndBatch(bool keep) {
    m_line.clear();
    if (!keep) {
        m_batch.clear();
        return;
    }
    if (m_committed.size() + m_batch.size() > kMaxKeys) {
        m_committed.clear();
    }
    if (m_committed.empty()) {
        m_committed = std::move(m_batch);
    } else {
        m_committed.insert(m_batch.begin(), m_batch.end());
    }
    m_batch.clear();
}
