#include "changeEncodingUtils.h"

#include <new>

namespace {

// A thread's instance and the key it was made under.
struct ThreadSlot {
    unsigned key = 0;
    std::unique_ptr<ChangeEncodingUtilsData> data;
};

thread_local ThreadSlot t_slot;

}  // namespace

std::mutex ChangeEncodingUtils::globalCriticalSection;
std::atomic<bool> ChangeEncodingUtils::m_initialized{false};
std::atomic<EncodingUtilsMode> ChangeEncodingUtils::m_mode{kEncodingUtilsPerThread};
std::unique_ptr<ChangeEncodingUtilsData> ChangeEncodingUtils::m_sharedData;
std::atomic<unsigned> ChangeEncodingUtils::m_threadKey{0};
std::atomic<unsigned> ChangeEncodingUtils::m_lastThreadKey{0};

bool ChangeEncodingUtils::initialize(EncodingUtilsMode mode) {
    terminate();
    m_mode.store(mode, std::memory_order_release);
    if (mode == kEncodingUtilsPerThread) {
        unsigned key = m_lastThreadKey.fetch_add(1) + 1;
        if (key == 0) {
            key = m_lastThreadKey.fetch_add(1) + 1;  // 0 means "no key"
        }
        m_threadKey.store(key, std::memory_order_release);
    } else {
        m_sharedData.reset(new (std::nothrow) ChangeEncodingUtilsData());
        if (!m_sharedData) {
            return false;
        }
    }
    m_initialized.store(true, std::memory_order_release);
    return true;
}

void ChangeEncodingUtils::terminate() {
    m_initialized.store(false, std::memory_order_release);
    m_sharedData.reset();
    m_threadKey.store(0, std::memory_order_release);
    // Other threads free theirs at exit or when they next ask.
    t_slot.data.reset();
    t_slot.key = 0;
}

ChangeEncodingUtilsData* ChangeEncodingUtils::getDataInstance() {
    if (!m_initialized.load(std::memory_order_acquire)) {
        std::lock_guard<std::mutex> lock(globalCriticalSection);
        if (!m_initialized.load(std::memory_order_acquire)) {
            initialize(kEncodingUtilsPerThread);
        }
    }
    if (!m_initialized.load(std::memory_order_acquire)) {
        return nullptr;
    }
    if (m_mode.load(std::memory_order_acquire) != kEncodingUtilsPerThread) {
        return m_sharedData.get();
    }
    unsigned key = m_threadKey.load(std::memory_order_acquire);
    if (t_slot.key != key || !t_slot.data) {
        t_slot.data.reset(new (std::nothrow) ChangeEncodingUtilsData());
        t_slot.key = key;
    }
    return t_slot.data.get();
}
