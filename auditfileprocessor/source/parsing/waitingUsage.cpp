#include "waitingUsage.h"

#include <utility>

#include "loadProgress.h"

void WaitingUsage::KeepCodes(const std::string& key, const std::string& text) {
    if (m_codes.emplace(key, text).second) {
        m_changed.insert(key);
    }
}

void WaitingUsage::KeepNames(const std::string& key, const std::string& text) {
    if (m_names.emplace(key, text).second) {
        m_changed.insert(key);
    }
}

bool WaitingUsage::Take(const std::string& key, std::string& codes, std::string& names) {
    const auto namesFound = m_names.find(key);
    const auto codesFound = m_codes.find(key);
    if (namesFound == m_names.end() || codesFound == m_codes.end()) {
        return false;
    }
    names = std::move(namesFound->second);
    codes = std::move(codesFound->second);
    m_names.erase(namesFound);
    m_codes.erase(codesFound);
    m_changed.insert(key);
    return true;
}

void WaitingUsage::Load(LoadProgress& progress, SQLDB* db) {
    progress.LoadWaitingUsage(db, m_codes, m_names);
    m_changed.clear();
}

void WaitingUsage::Save(LoadProgress& progress, SQLDB* db) {
    progress.SaveWaitingUsage(db, m_codes, m_names, m_changed);
}
