// The usage codes and names of requests whose counts line has not come yet,
// by request key (the session and request identifiers joined without a
// separator). A request's usage lines may run on into the next file, so they
// wait across files; the load progress keeps them with every commit.
//   WaitingUsage usage;
//   usage.KeepCodes(key, codesText);
//   usage.KeepNames(key, namesText);
//   std::string codes, names;
//   if (usage.Take(key, codes, names)) { /* write the counts' rows */ }
#pragma once

#include <map>
#include <set>
#include <string>

class LoadProgress;
class SQLDB;

class WaitingUsage {
  public:
    using Texts = std::map<std::string, std::string>;

    // A second codes or names line for a waiting request keeps the first text.
    void KeepCodes(const std::string& key, const std::string& text);
    void KeepNames(const std::string& key, const std::string& text);
    // Takes both texts of the request; false, taking nothing, unless both wait.
    bool Take(const std::string& key, std::string& codes, std::string& names);

    const Texts& codes() const { return m_codes; }
    const Texts& names() const { return m_names; }

    // Replaces what waits with what the bookkeeping holds (inside a transaction).
    void Load(LoadProgress& progress, SQLDB* db);
    // Writes what changed since the last Load or Save (inside the batch's transaction).
    void Save(LoadProgress& progress, SQLDB* db);

  private:
    Texts m_codes;
    Texts m_names;
    // Request keys whose texts changed since the last Load or Save.
    std::set<std::string> m_changed;
};
