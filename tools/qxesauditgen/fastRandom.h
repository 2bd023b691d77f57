// A small, fast pseudo-random generator (xoshiro256**, seeded through
// splitmix64) whose sequence depends only on the seed, so that generated
// audit files are the same bytes on every run and machine.
//   FastRandom random(42);
//   unsigned die = random.below(6) + 1;
#pragma once

#include <cstdint>

class FastRandom {
  public:
    explicit FastRandom(uint64_t seed) {
        for (uint64_t& word : m_state) {
            seed += 0x9E3779B97F4A7C15ULL;
            uint64_t z = seed;
            z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ULL;
            z = (z ^ (z >> 27)) * 0x94D049BB133111EBULL;
            word = z ^ (z >> 31);
        }
    }

    uint64_t next() {
        const uint64_t result = rotate(m_state[1] * 5, 7) * 9;
        const uint64_t shifted = m_state[1] << 17;
        m_state[2] ^= m_state[0];
        m_state[3] ^= m_state[1];
        m_state[1] ^= m_state[2];
        m_state[0] ^= m_state[3];
        m_state[2] ^= shifted;
        m_state[3] = rotate(m_state[3], 45);
        return result;
    }

    // A value in [0, bound); bound must not be 0.
    uint32_t below(uint32_t bound) { return static_cast<uint32_t>((next() >> 32) % bound); }

    // True with the given chance in percent.
    bool percent(uint32_t chance) { return below(100) < chance; }

  private:
    static uint64_t rotate(uint64_t value, int bits) {
        return (value << bits) | (value >> (64 - bits));
    }

    uint64_t m_state[4];
};
