// A keyed table that owns its lock and its copy-out: the card-type, chip-type
// and local-port tables are each one file-static object of this type, so no
// source but the table's own can reach its lock.
//
// The table keeps the keyed index (dm_tree_root_t) with the read-write lock
// beside it because the host's insertion service writes card and chip
// records straight into that tree and takes that lock itself: the tree and
// its layout are part of the host contract (dm_host.h), and
// insertion_root() is the one way to it that bypasses the analysis.
#pragma once

#include <cstring>

#include "dm_diag.h"
#include "dm_lock.h"

template <class Rec>
class dm_keyed_table {
public:
    // Sets the index up: 0, or -1 after "fail to init <name>!" at error level
    // under the caller's name (the start-up that inits all tables at once).
    int init(dm_site at, const char *name)
    {
        if (index.init() == 0) {
            return 0;
        }
        DM_DIAG_AT(at, LIB_DBG_ERROR, "fail to init %s!\n", name);
        return -1;
    }

    // True with the record under `key` copied into *out; the lock is held
    // for the search and the copy only.
    bool copy_out(int key, Rec *out) const DM_EXCLUDES(index)
    {
        dm_read_guard guard(index);
        const void *rec = index.find(key);
        if (rec == nullptr) {
            return false;
        }
        std::memcpy(out, rec, sizeof *out);
        return true;
    }

    // copy_out, and on a miss the warning `miss` under the caller's name and
    // line, printed after the lock is released. Use DM_TABLE_COPY_OUT.
    bool copy_out_for(const char *func, int line, const char *miss, int key, Rec *out) const
        DM_EXCLUDES(index)
    {
        if (copy_out(key, out)) {
            return true;
        }
        if (dm_diag_on(LIB_DBG_WARN)) {
            dm_diag_print(func, line, "%s", miss);
        }
        return false;
    }

    // The tree for the host's insertion service, which copies the record in
    // and takes the tree's lock itself.
    dm_tree_root_t *insertion_root() { return &index.tree; }

    // The index and its lock. The table object is file-static in its source;
    // only that source reaches this, for its own guarded data and scans.
    mutable dm_index index;
};

#define DM_TABLE_COPY_OUT(table, miss, key, out) \
    (table).copy_out_for(__func__, __LINE__, (miss), (key), (out))
