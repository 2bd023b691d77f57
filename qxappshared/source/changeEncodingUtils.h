// Who owns the conversion state: one ChangeEncodingUtilsData per thread (the
// mode a lazy start picks) or one shared by every thread. The state is made on
// first use, so callers normally just ask for it.
//   ChangeEncodingUtilsData* data = ChangeEncodingUtils::getDataInstance();
//   ChangeEncodingUtils::initialize(kEncodingUtilsShared);  // explicit choice
#pragma once

#include <atomic>
#include <memory>
#include <mutex>

#include "changeEncodingUtilsData.h"

enum EncodingUtilsMode {
    // One instance for all threads; callers must not convert concurrently.
    kEncodingUtilsShared = 0,
    // One instance per thread, kept under a thread key; no lock needed.
    kEncodingUtilsPerThread = 1,
};

class ChangeEncodingUtils {
  public:
    // Drops any earlier state and sets up `mode`; false when that failed.
    static bool initialize(EncodingUtilsMode mode);
    // Frees the shared instance and retires the thread key.
    static void terminate();
    // The calling thread's state, set up in the per-thread mode when nothing
    // was initialised yet; NULL when it cannot be made.
    static ChangeEncodingUtilsData* getDataInstance();

    static bool isInitialized() { return m_initialized.load(std::memory_order_acquire); }
    static EncodingUtilsMode mode() { return m_mode.load(std::memory_order_acquire); }

  private:
    // Guards the lazy first initialisation.
    static std::mutex globalCriticalSection;
    static std::atomic<bool> m_initialized;
    static std::atomic<EncodingUtilsMode> m_mode;
    static std::unique_ptr<ChangeEncodingUtilsData> m_sharedData;
    // The live thread key: 0 when there is none. Each key gets a new number, so
    // an instance a thread made under a retired key is never handed out again.
    static std::atomic<unsigned> m_threadKey;
    static std::atomic<unsigned> m_lastThreadKey;
};
