// Locks of the library's tables and the RAII guards that take them, and the
// sequence counter of the tables whose readers take no lock.
//
// Every table lock is one of two capability types that clang's thread-safety
// analysis follows (the attributes are no-ops under gcc):
//   dm_rwlock  a plain pthread read-write lock, statically initialised;
//   dm_index   a keyed index (dm_tree_root_t) together with its own lock.
// Guards can be neither copied nor moved; a lookup holds one only for the
// search and the copy-out.
#pragma once

#include <pthread.h>

#include <atomic>
#include <cstdint>

#include "dm_tree.h"

#if defined(__clang__)
#define DM_TSA(x) __attribute__((x))
#else
#define DM_TSA(x)
#endif
#define DM_CAPABILITY(x) DM_TSA(capability(x))
#define DM_SCOPED DM_TSA(scoped_lockable)
#define DM_GUARDED_BY(x) DM_TSA(guarded_by(x))
#define DM_PT_GUARDED_BY(x) DM_TSA(pt_guarded_by(x))
#define DM_ACQUIRE(...) DM_TSA(acquire_capability(__VA_ARGS__))
#define DM_ACQUIRE_SHARED(...) DM_TSA(acquire_shared_capability(__VA_ARGS__))
#define DM_RELEASE(...) DM_TSA(release_capability(__VA_ARGS__))
#define DM_RELEASE_GENERIC(...) DM_TSA(release_generic_capability(__VA_ARGS__))
#define DM_REQUIRES(...) DM_TSA(requires_capability(__VA_ARGS__))
#define DM_REQUIRES_SHARED(...) DM_TSA(requires_shared_capability(__VA_ARGS__))
#define DM_ACQUIRED_AFTER(...) DM_TSA(acquired_after(__VA_ARGS__))
#define DM_EXCLUDES(...) DM_TSA(locks_excluded(__VA_ARGS__))
#define DM_NO_TSA DM_TSA(no_thread_safety_analysis)

// A pthread read-write lock with static initialisation.
struct DM_CAPABILITY("rwlock") dm_rwlock {
    pthread_rwlock_t rw = PTHREAD_RWLOCK_INITIALIZER;
};

// A pthread mutex with static initialisation.
struct DM_CAPABILITY("mutex") dm_mutex {
    pthread_mutex_t mu = PTHREAD_MUTEX_INITIALIZER;
};

// A keyed index and its lock. The tree operations require the lock, so the
// analysis proves every find, insert and delete runs under it.
struct DM_CAPABILITY("rwlock") dm_index {
    dm_tree_root_t tree;  // rwlock first: the host may lock &tree directly

    int init() { return dm_tree_init_root(&tree); }
    void *find(int key) DM_REQUIRES_SHARED(this) { return dm_tree_find_node(&tree, key); }
    int insert(int key, void *data) DM_REQUIRES(this)
    {
        return dm_tree_insert_node(&tree, key, data);
    }
    int remove(int key) DM_REQUIRES(this) { return dm_tree_delete_node(&tree, key); }
    // Frees every node and leaves the index empty.
    void clear() DM_REQUIRES(this)
    {
        dm_tree_destroy(&tree);
        tree.root = nullptr;
    }
};

inline pthread_rwlock_t *dm_native(dm_rwlock &l) { return &l.rw; }
inline pthread_rwlock_t *dm_native(dm_index &i) { return &i.tree.rwlock; }

// Base of every guard and table hold: a hold stays in the scope that took
// it, so it can be neither copied nor moved.
class dm_hold {
public:
    dm_hold(const dm_hold &) = delete;
    dm_hold &operator=(const dm_hold &) = delete;

protected:
    dm_hold() = default;
    ~dm_hold() = default;
};

// Holds a read-write lock for the guard's scope: for reading when `Shared`
// (dm_read_guard), for writing otherwise (dm_write_guard).
template <bool Shared>
class DM_SCOPED dm_rw_guard : dm_hold {
public:
    template <class Lock>
    requires Shared explicit dm_rw_guard(Lock &lock) DM_ACQUIRE_SHARED(lock) : rw_(take(lock)) {}
    template <class Lock>
    requires(!Shared) explicit dm_rw_guard(Lock &lock) DM_ACQUIRE(lock) : rw_(take(lock)) {}
    ~dm_rw_guard() DM_RELEASE_GENERIC() { pthread_rwlock_unlock(rw_); }

private:
    template <class Lock>
    static pthread_rwlock_t *take(Lock &lock)
    {
        pthread_rwlock_t *rw = dm_native(lock);
        if constexpr (Shared) {
            pthread_rwlock_rdlock(rw);
        } else {
            pthread_rwlock_wrlock(rw);
        }
        return rw;
    }
    pthread_rwlock_t *rw_;
};
using dm_read_guard = dm_rw_guard<true>;
using dm_write_guard = dm_rw_guard<false>;

// Holds a mutex for the guard's scope.
class DM_SCOPED dm_mutex_guard : dm_hold {
public:
    explicit dm_mutex_guard(dm_mutex &m) DM_ACQUIRE(m) : mu_(&m.mu) { pthread_mutex_lock(mu_); }
    ~dm_mutex_guard() DM_RELEASE() { pthread_mutex_unlock(mu_); }

private:
    pthread_mutex_t *mu_;
};

// A sequence counter for tables read without a lock. Writers, serialised by
// the table's own lock, make it odd for the whole of one change and even
// again after it; a reader that saw the same even value before and after its
// copy read no part of a change. Readers write nothing shared.
//
// The words of a table read this way are atomics, loaded with kDmSeqLoad and
// stored with kDmSeqStore. A load that acquires keeps the counter's second
// read after the copy; a store that releases keeps the counter's odd value
// ahead of it, so a reader that saw any word of a change also sees the
// counter move. That is the ordering a pair of fences would give, said
// per word instead: on x86 both compile to plain moves, and ThreadSanitizer,
// which does not model fences, follows it exactly.
constexpr std::memory_order kDmSeqLoad = std::memory_order_acquire;
constexpr std::memory_order kDmSeqStore = std::memory_order_release;

class dm_seqcount {
public:
    uint64_t read_begin() const { return seq_.load(std::memory_order_acquire); }
    // True when a writer ran since read_begin() returned `seen`: discard the copy.
    bool read_retry(uint64_t seen) const { return seq_.load(std::memory_order_relaxed) != seen; }
    void write_begin()
    {
        seq_.store(seq_.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
    }
    void write_end()
    {
        seq_.store(seq_.load(std::memory_order_relaxed) + 1, std::memory_order_release);
    }

private:
    std::atomic<uint64_t> seq_{0};
};

// Optimistic copies a reader makes before it waits for the writers instead.
// A message handler holds the counter odd for a few microseconds; under the
// start-up burst a reader may keep losing the race, and then the writers'
// lock (taken for reading) lets it in between two handlers.
constexpr int kDmSeqTries = 64;

// One optimistic run of `attempt` (a copy through kDmSeqLoad loads; false
// when what it read cannot be whole, such as an index out of range): true
// when the copy overlapped no change. A lookup's hot path is this, inlined,
// with dm_seq_read out of line behind it for a reader that lost the race.
template <class Attempt>
[[gnu::always_inline]] inline bool dm_seq_try(const dm_seqcount &seq, Attempt &attempt)
{
    const uint64_t seen = seq.read_begin();
    return (seen & 1) == 0 && attempt() && !seq.read_retry(seen);
}

// Runs `attempt` until one copy overlapped no change; after kDmSeqTries,
// once more with `writers` held for reading, where no change can run. The
// copy the caller keeps is the last attempt's.
template <class Attempt>
void dm_seq_read(const dm_seqcount &seq, dm_rwlock &writers, Attempt attempt)
{
    for (int i = 0; i < kDmSeqTries; ++i) {
        if (dm_seq_try(seq, attempt)) {
            return;
        }
#if defined(__x86_64__) || defined(__i386__)
        __builtin_ia32_pause();
#endif
    }
    dm_read_guard guard(writers);
    attempt();
}

// Holds a table's writers' lock and its sequence counter odd for the scope.
class DM_SCOPED dm_seq_write_guard {
public:
    dm_seq_write_guard(dm_rwlock &writers, dm_seqcount &seq) DM_ACQUIRE(writers)
        : rw_(dm_native(writers)), seq_(seq)
    {
        pthread_rwlock_wrlock(rw_);
        seq_.write_begin();
    }
    ~dm_seq_write_guard() DM_RELEASE()
    {
        seq_.write_end();
        pthread_rwlock_unlock(rw_);
    }
    dm_seq_write_guard(const dm_seq_write_guard &) = delete;
    dm_seq_write_guard &operator=(const dm_seq_write_guard &) = delete;

private:
    pthread_rwlock_t *rw_;
    dm_seqcount &seq_;
};
