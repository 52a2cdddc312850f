// The host's data services and diagnostics: the insertion service that copies
// records into a library's keyed index, the initial-synchronisation flag, the
// debug level and library name, and the log file.
#include <search.h>

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "dm_host_ctl.h"
#include "dm_host_internal.h"

namespace {

// Every record block the insertion service made; they are kept (and stay
// reachable from here) for the life of the process, as a library may hold a
// record's address under its table's lock at any time.
struct block_head {
    block_head *next;
    size_t size;
};
static_assert(sizeof(block_head) % alignof(max_align_t) == 0, "records stay aligned");

pthread_mutex_t blocks_lock = PTHREAD_MUTEX_INITIALIZER;  // guards blocks
block_head *blocks;
std::atomic<unsigned long> inserted{0};

std::atomic<bool> bs_over{false};

// Guards log_lines and log_path.
pthread_mutex_t log_lock = PTHREAD_MUTEX_INITIALIZER;
dm_host::table<char *> log_lines;
char log_path[4096];

void *block_data(block_head *b) { return b + 1; }

block_head *new_block(const void *data, size_t size)
{
    auto *b = static_cast<block_head *>(std::malloc(sizeof(block_head) + size));
    if (b == nullptr) {
        return nullptr;
    }
    b->next = nullptr;
    b->size = size;
    std::memcpy(block_data(b), data, size);
    return b;
}

void keep_block(block_head *b)
{
    dm_host::mutex_guard g(blocks_lock);
    b->next = blocks;
    blocks = b;
}

// The block of ours whose record is at `data`, or null.
block_head *our_block(const void *data)
{
    dm_host::mutex_guard g(blocks_lock);
    for (block_head *b = blocks; b != nullptr; b = b->next) {
        if (block_data(b) == data) {
            return b;
        }
    }
    return nullptr;
}

// Points the node of `key` at a new record (the root's write lock is held).
void repoint_node(dm_tree_root_t *root, int key, void *data)
{
    dm_tree_node_t probe{key, nullptr};
    void *slot = tfind(&probe, &root->root, compare_node);
    if (slot != nullptr) {
        (*static_cast<dm_tree_node_t **>(slot))->data = data;
    }
}

// Enters the new block under `key`, the root's write lock held. Returns true
// when the tree now points at the new block, false when it was copied over
// the stored record (or failed: *ok false).
bool enter_record(dm_tree_root_t *root, int key, block_head *b, bool *ok)
{
    *ok = true;
    const int r = dm_tree_insert_node(root, key, block_data(b));
    if (r == 0) {
        return true;
    }
    if (r < 0) {
        *ok = false;
        return false;
    }
    // The key is present: the new record replaces the stored one. A block of
    // ours of the same size is overwritten in place, so the table keeps one
    // block per key; otherwise the node is pointed at the new block and the
    // old one is left alone.
    void *stored = dm_tree_find_node(root, key);
    block_head *old = our_block(stored);
    if (old != nullptr && old->size == b->size) {
        std::memcpy(stored, block_data(b), b->size);
        return false;
    }
    repoint_node(root, key, block_data(b));
    return true;
}

// Drops the line end the text carries: a kept line has none.
void strip_line_end(char *s)
{
    size_t n = std::strlen(s);
    while (n > 0 && (s[n - 1] == '\n' || s[n - 1] == '\r')) {
        s[--n] = '\0';
    }
}

char *format_line(const char *fmt, va_list ap)
{
    va_list ap2;
    va_copy(ap2, ap);
    const int n = std::vsnprintf(nullptr, 0, fmt, ap2);
    va_end(ap2);
    if (n < 0) {
        return nullptr;
    }
    auto *line = static_cast<char *>(std::malloc(static_cast<size_t>(n) + 1));
    if (line != nullptr) {
        std::vsnprintf(line, static_cast<size_t>(n) + 1, fmt, ap);
        strip_line_end(line);
    }
    return line;
}

void append_to_file(const char *path, const char *line)
{
    FILE *f = std::fopen(path, "a");
    if (f != nullptr) {
        std::fprintf(f, "%s\n", line);
        std::fclose(f);
    }
}

}  // namespace

extern "C" {

int g_lib_dbg_level = LIB_DBG_END;
char lib_name[64] = "dm";
// The stand-in has one log; the handle only has to be handed back.
void *logfile_info = nullptr;

// The third argument selects nothing here: every record is copied the same way.
int dp_lib_insert_data(void *data, int size, int flag, dm_tree_root_t *root, int key)
{
    (void)flag;
    if (data == nullptr || size <= 0 || root == nullptr) {
        return -1;
    }
    block_head *b = new_block(data, static_cast<size_t>(size));
    if (b == nullptr) {
        return -1;
    }
    bool ok;
    pthread_rwlock_wrlock(&root->rwlock);
    const bool uses_new = enter_record(root, key, b, &ok);
    pthread_rwlock_unlock(&root->rwlock);
    if (uses_new) {
        keep_block(b);
    } else {
        std::free(b);
    }
    if (!ok) {
        return -1;
    }
    inserted.fetch_add(1);
    return 0;
}

bool dm_lib_data_bs_over(void) { return bs_over.load(); }

int dm_logfile_write_log(void *info, const char *fmt, ...)
{
    (void)info;
    if (fmt == nullptr) {
        return -1;
    }
    va_list ap;
    va_start(ap, fmt);
    char *line = format_line(fmt, ap);
    va_end(ap);
    if (line == nullptr) {
        return -1;
    }
    dm_host::mutex_guard g(log_lock);
    if (log_path[0] != '\0') {
        append_to_file(log_path, line);
    }
    if (!log_lines.push(line)) {
        std::free(line);
        return -1;
    }
    return 0;
}

// ---- control ------------------------------------------------------------------

void dm_host_set_bs_over(bool over) { bs_over.store(over); }

void dm_host_set_dbg_level(int level)
{
    __atomic_store_n(&g_lib_dbg_level, level, __ATOMIC_RELAXED);
}

void dm_host_set_lib_name(const char *name)
{
    std::snprintf(lib_name, sizeof lib_name, "%s", name == nullptr ? "" : name);
}

unsigned long dm_host_inserted_records(void) { return inserted.load(); }

void dm_host_log_set_path(const char *path)
{
    dm_host::mutex_guard g(log_lock);
    std::snprintf(log_path, sizeof log_path, "%s", path == nullptr ? "" : path);
}

int dm_host_log_count(void)
{
    dm_host::mutex_guard g(log_lock);
    return static_cast<int>(log_lines.count);
}

bool dm_host_log_line(int i, char *buf, size_t size)
{
    dm_host::mutex_guard g(log_lock);
    if (i < 0 || static_cast<size_t>(i) >= log_lines.count || buf == nullptr || size == 0) {
        return false;
    }
    std::snprintf(buf, size, "%s", log_lines.items[i]);
    return true;
}

void dm_host_log_clear(void)
{
    dm_host::mutex_guard g(log_lock);
    for (size_t i = 0; i < log_lines.count; ++i) {
        std::free(log_lines.items[i]);
    }
    log_lines.clear();
}

}  // extern "C"
