// Pieces shared by the host stand-in's sources: a mutex guard and a small
// growable table.
//
// The device-manager library may call into the host from its load-time
// constructor, before this library's own initialisers have run. Everything
// here is therefore usable from zeroed static storage: no constructors, no
// destructors, only pthread static initialisers and plain pointers.
#pragma once

#include <pthread.h>

#include <cstddef>
#include <cstdlib>
#include <type_traits>

#define DM_HOST_HIDDEN __attribute__((visibility("hidden")))

namespace dm_host {

// Holds a pthread mutex for its scope.
class mutex_guard {
public:
    explicit mutex_guard(pthread_mutex_t &mu) : mu_(mu) { pthread_mutex_lock(&mu_); }
    ~mutex_guard() { pthread_mutex_unlock(&mu_); }
    mutex_guard(const mutex_guard &) = delete;
    mutex_guard &operator=(const mutex_guard &) = delete;

private:
    pthread_mutex_t &mu_;
};

// A growable array of plain values in heap memory. Zeroed static storage is
// an empty table, so a global one needs no initialiser; the storage is kept
// for the life of the process. The owner provides the locking.
template <class T>
struct table {
    static_assert(std::is_trivially_copyable_v<T>, "table holds plain values");

    T *items;
    size_t count;
    size_t cap;

    // Appends a copy of v; false when memory runs out (the table is unchanged).
    bool push(const T &v)
    {
        if (count == cap) {
            size_t ncap = cap == 0 ? 16 : cap * 2;
            void *p = std::realloc(static_cast<void *>(items), ncap * sizeof(T));
            if (p == nullptr) {
                return false;
            }
            items = static_cast<T *>(p);
            cap = ncap;
        }
        items[count++] = v;
        return true;
    }

    // The first entry for which pred holds, or null.
    template <class Pred>
    T *find(Pred pred)
    {
        for (size_t i = 0; i < count; ++i) {
            if (pred(items[i])) {
                return &items[i];
            }
        }
        return nullptr;
    }

    // Removes the first entry for which pred holds; order is kept.
    template <class Pred>
    void erase_first(Pred pred)
    {
        for (size_t i = 0; i < count; ++i) {
            if (pred(items[i])) {
                for (size_t j = i + 1; j < count; ++j) {
                    items[j - 1] = items[j];
                }
                --count;
                return;
            }
        }
    }

    void clear() { count = 0; }
};

// Logs a raised device event among the batch steps, when asked to.
DM_HOST_HIDDEN void log_event_step();

}  // namespace dm_host
