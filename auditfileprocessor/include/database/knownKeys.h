// The keys of rows that this loader wrote or found in the database during the
// run, so that a held batch can predict its look-ups instead of waiting for
// them. What a line learns counts once the line is kept, what a batch learns
// once the batch is committed: an undone row is never taken for a stored one.
// A wrong entry costs a replayed batch, never a wrong row.
//   KnownKeys keys;
//   keys.Learn("QXES_SESSION\ts1");
//   keys.EndLine(true);
//   keys.EndBatch(true);
//   if (keys.Knows("QXES_SESSION\ts1")) { /* predict that the look-up finds it */ }
#pragma once

#include <cstddef>
#include <string>
#include <unordered_set>
#include <vector>

class KnownKeys {
  public:
    // Beyond this many keys the run starts afresh: memory stays bounded, and
    // a forgotten key is only asked for again.
    static constexpr size_t kMaxKeys = 1000000;

    bool Knows(const std::string& key) const;
    void Learn(const std::string& key);
    // A key the database answered for outside any line: it stays known
    // whatever becomes of the batch.
    void LearnStored(const std::string& key);
    // Forgets every key: after a batch went otherwise than predicted, what
    // the run knew may be out of date.
    void Forget();
    // Keeps or forgets what the line in hand learned.
    void EndLine(bool keep);
    // Keeps or forgets what the open batch learned.
    void EndBatch(bool keep);

  private:
    std::unordered_set<std::string> m_committed;
    std::unordered_set<std::string> m_batch;
    // Keys of the line in hand that neither set held before.
    std::vector<std::string> m_line;
};
