// The startup and saved port-conversion lists (ports converted between
// Ethernet and Fibre Channel): each arrives as a transfer of begin, data
// chunks and over, is staged, committed in one step at the over, announced
// by a device event, and handed to readers as copies. Show commands 10 to 12.
#include "dm_fc_lists.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

#include "dm_diag.h"
#include "dm_event_bridge.h"
#include "dm_lock.h"
#include <dm_lib_pd/dm_fc_lists.h>

// The port-conversion messages, printed under the name of the entry point
// that a list's shared code runs for.
#define FC_DIAG_AS(func, level, ...)                         \
    do {                                                     \
        if (dm_fc_diag_on(level))                            \
            dm_fc_diag_print((func), __LINE__, __VA_ARGS__); \
    } while (0)
#define FC_VERBOSE(func, ...) FC_DIAG_AS(func, DM_FC_LIB_DBG_VERBOSE, __VA_ARGS__)
#define FC_DETAIL(func, ...) FC_DIAG_AS(func, DM_FC_LIB_DBG_DETAIL, __VA_ARGS__)
#define FC_WARN(func, ...) FC_DIAG_AS(func, DM_FC_LIB_DBG_WARN, __VA_ARGS__)

namespace {

constexpr int kEntryLen = static_cast<int>(sizeof(dm_convert_cfg_t));
// Sizes are entries x 8 held in a signed 32-bit int.
constexpr int kFcNumMax = 268435455;
constexpr int kLevelCount = DM_FC_LIB_DBG_END + 1;
// A show prints each entry no chunk wrote, {0, 0}, up to this many in a row;
// a longer run of them is one line. Lists a master really sends are written
// whole, and a gap this long in one is no list a master sends: the line
// keeps a begin that announces 268 million entries from printing them all,
// while every list of realistic size shows entry by entry.
constexpr int kUnsentLinesMax = 4096;

// One chunk as it was sent: entries min..max follow the head.
struct fc_chunk_t {
    fc_chunk_t *next;
    int min;
    int max;
    dm_convert_cfg_t *entries() { return reinterpret_cast<dm_convert_cfg_t *>(this + 1); }
};

// A transfer's list: `num` entries announced by its begin, and the chunks
// that were sent, in arrival order (a later one overwrites an earlier one;
// entries no chunk wrote are {0, 0}). What it costs follows what was sent,
// not what was announced. It is filled only until its over and never changes
// after, so readers copy it without the lock once they hold a reference: the
// list's own one (dropped by the next begin) and one per reader.
struct fc_cfg_t {
    std::atomic<int> refs;
    int num;
    fc_chunk_t *first;
    fc_chunk_t *last;
};

fc_cfg_t *fc_cfg_new(int num)
{
    auto *c = static_cast<fc_cfg_t *>(std::malloc(sizeof(fc_cfg_t)));
    if (c != nullptr) {
        new (c) fc_cfg_t{{1}, num, nullptr, nullptr};
    }
    return c;
}

void fc_cfg_release(fc_cfg_t *c)
{
    if (c == nullptr || c->refs.fetch_sub(1, std::memory_order_acq_rel) != 1) {
        return;
    }
    for (fc_chunk_t *k = c->first; k != nullptr;) {
        fc_chunk_t *next = k->next;
        std::free(k);
        k = next;
    }
    c->~fc_cfg_t();
    std::free(c);
}

// Writes the list into `out`, which holds its `num` entries, all zero.
void fc_cfg_copy(const fc_cfg_t *c, dm_convert_cfg_t *out)
{
    for (fc_chunk_t *k = c->first; k != nullptr; k = k->next) {
        std::memcpy(out + k->min, k->entries(),
                    static_cast<size_t>(k->max - k->min + 1) * sizeof(dm_convert_cfg_t));
    }
}

// A 32-bit count or head at the start of a payload that may be unaligned.
template <class T>
T fc_read(const void *data)
{
    T v;
    std::memcpy(&v, data, sizeof v);
    return v;
}

// One port-conversion list; the startup and the saved list are two values of
// this type. Its committed triple (list, size, count) is what readers copy;
// its staging triple is what the current transfer fills, and after the over
// it is the committed list too.
//
// The host delivers one list's messages in order and never runs two of its
// handlers at once; the staging lock makes that so here as well instead of
// relying on it, and it is never contended when the host behaves. A handler
// holds it for its staging work and takes the committed lock inside it,
// never the other way round; neither is held while the application or the
// host is called.
struct fc_list {
    constexpr fc_list(bool save_traces, const char *kind_name, int over_event, const char *over_log,
                      const char *getter_name)
        : save(save_traces),
          kind(kind_name),
          event_id(over_event),
          log_text(over_log),
          getter(getter_name)
    {}

    bool save;             // the saved list prints a few traces of its own
    const char *kind;      // "start" or "save", in the getter's traces
    int event_id;          // raised at every over
    const char *log_text;  // the log-file line of every over
    const char *getter;    // the getter's name, in the show's diagnostics

    dm_mutex staging_lock;
    fc_cfg_t *cfg_tmp DM_GUARDED_BY(staging_lock) = nullptr;
    int num_tmp DM_GUARDED_BY(staging_lock) = 0;
    int size_tmp DM_GUARDED_BY(staging_lock) = 0;
    bool over DM_GUARDED_BY(staging_lock) = false;  // the staging list is the committed list

    dm_mutex lock DM_ACQUIRED_AFTER(staging_lock);
    fc_cfg_t *cfg DM_GUARDED_BY(lock) = nullptr;
    int num DM_GUARDED_BY(lock) = 0;
    int size DM_GUARDED_BY(lock) = 0;

    // The three handlers: a missing payload is ignored, and each traces
    // "enter" and, when it ran to its end, "ok".
    void handle(bool (fc_list::*step)(const void *, const char *), const void *data,
                const char *func)
    {
        if (data == nullptr) {
            return;
        }
        FC_VERBOSE(func, "enter\r\n");
        if ((this->*step)(data, func)) {
            FC_VERBOSE(func, "ok\r\n");
        }
    }
    bool begin(const void *data, const char *func) DM_EXCLUDES(staging_lock, lock);
    bool chunk(const void *data, const char *func) DM_EXCLUDES(staging_lock);
    bool commit(const void *data, const char *func) DM_EXCLUDES(staging_lock, lock);

    // The getter; see fc_list::get below.
    int get(dm_convert_cfg_t **out, int *out_num, const char *func, fc_cfg_t **keep = nullptr)
        DM_EXCLUDES(lock);

    // Drops the staging list, which after an over is also the committed list:
    // from here until the next over the list reads as empty. A reader still
    // copying it keeps it until it is done.
    void drop_staging() DM_REQUIRES(staging_lock) DM_EXCLUDES(lock)
    {
        if (cfg_tmp == nullptr) {
            return;
        }
        {
            dm_mutex_guard committed(lock);
            cfg = nullptr;
        }
        fc_cfg_release(cfg_tmp);
        cfg_tmp = nullptr;
    }
};

constinit fc_list fc_start_list{false, "start", DEV_MSG_FC_START_CFG_OVER,
                                "fc startup cfg sync over", "dm_get_fc_startup_cfg"};
constinit fc_list fc_save_list{true, "save", DEV_MSG_FC_SAVE_CFG, "fc save cfg sync over",
                               "dm_get_fc_save_cfg"};

bool fc_list::begin(const void *data, const char *func)
{
    const int32_t n = fc_read<int32_t>(data);
    if (n < 0) {
        FC_WARN(func, "num:%d\r\n", n);
        return false;
    }
    // n x 8 bytes must fit the signed size: a larger count is refused like
    // a negative one, and the list and its staging stay as they were.
    if (n > kFcNumMax) {
        FC_WARN(func, "num:%d too large, max:%d\r\n", n, kFcNumMax);
        return false;
    }
    FC_DETAIL(func, "num:%d\r\n", n);
    dm_mutex_guard staging(staging_lock);
    num_tmp = n;
    size_tmp = n * kEntryLen;
    drop_staging();
    over = false;
    if (save) {
        FC_VERBOSE(func, "fc_convert_save_num_tmp:%d\r\n", num_tmp);
    }
    if (n == 0) {
        return false;
    }
    fc_cfg_t *fresh = fc_cfg_new(n);
    if (fresh == nullptr) {
        FC_WARN(func, "no memory\r\n");
        num_tmp = 0;
        size_tmp = 0;
        return false;
    }
    cfg_tmp = fresh;
    return true;
}

bool fc_list::chunk(const void *data, const char *func)
{
    const dp_lib_fc_cfg_info_t head = fc_read<dp_lib_fc_cfg_info_t>(data);
    dm_mutex_guard staging(staging_lock);
    // After an over the staging list is the committed list that readers
    // copy; it must not change under them, and a chunk that lands between two
    // transfers belongs to neither. It is refused until the next begin opens
    // a new transfer.
    if (over) {
        FC_WARN(func, "cfg is over, range[%d, %d] dropped until next begin\r\n", head.cfg_min,
                head.cfg_max);
        return false;
    }
    if (head.cfg_min < 0 || head.cfg_max >= num_tmp || head.cfg_min > head.cfg_max) {
        FC_WARN(func, "invalid range[%d, %d], max:%d\r\n", head.cfg_min, head.cfg_max, num_tmp);
        return false;
    }
    const size_t count = static_cast<size_t>(head.cfg_max - head.cfg_min) + 1;
    auto *k = static_cast<fc_chunk_t *>(
        std::malloc(sizeof(fc_chunk_t) + count * sizeof(dm_convert_cfg_t)));
    if (k == nullptr) {
        FC_WARN(func, "no memory\r\n");
        return false;
    }
    *k = fc_chunk_t{nullptr, head.cfg_min, head.cfg_max};
    std::memcpy(k->entries(), static_cast<const char *>(data) + sizeof head,
                count * sizeof(dm_convert_cfg_t));
    (cfg_tmp->last != nullptr ? cfg_tmp->last->next : cfg_tmp->first) = k;
    cfg_tmp->last = k;
    return true;
}

bool fc_list::commit(const void *, const char *func)
{
    {
        dm_mutex_guard staging(staging_lock);
        {
            dm_mutex_guard committed(lock);
            cfg = cfg_tmp;
            size = size_tmp;
            num = num_tmp;
        }
        over = true;
        if (save) {
            // The committed values equal the staging ones just published.
            FC_VERBOSE(func, "fc_save_cfg:%p, fc_save_cfg_size:%d, fc_convert_save_num:%d\r\n",
                       static_cast<void *>(cfg_tmp), size_tmp, num_tmp);
        }
    }
    dev_msg_t msg = {event_id, 0};
    dm_dev_event_notify_pd(&msg);
    dm_logfile_write_log(logfile_info, "<%s, %d>:%s", func, __LINE__, log_text);
    return true;
}

// The lock is held only to take a reference to the committed list; the copy
// is allocated zeroed (fresh pages, untouched until written) and only the
// entries that were sent are written into it. With `keep`, the reference is
// handed to the caller (null for an empty list), who releases it.
int fc_list::get(dm_convert_cfg_t **out, int *out_num, const char *func, fc_cfg_t **keep)
{
    if (out == nullptr || out_num == nullptr) {
        return -1;
    }
    FC_VERBOSE(func, "enter\r\n");
    *out = nullptr;
    *out_num = 0;
    fc_cfg_t *list = nullptr;
    int count = 0;
    {
        dm_mutex_guard committed(lock);
        if (num == 0 || cfg == nullptr) {
            FC_DETAIL(func, "fc_convert_%s_num:%d, fc_%s_cfg:%p\r\n", kind, num, kind,
                      static_cast<void *>(cfg));
        } else {
            list = cfg;
            count = num;
            list->refs.fetch_add(1, std::memory_order_relaxed);
        }
    }
    int ret = 0;
    if (list != nullptr) {
        void *copy = std::calloc(static_cast<size_t>(count), sizeof(dm_convert_cfg_t));
        if (copy == nullptr) {
            FC_WARN(func, "alloc fail\r\n");
            ret = -1;
        } else {
            fc_cfg_copy(list, static_cast<dm_convert_cfg_t *>(copy));
            *out = static_cast<dm_convert_cfg_t *>(copy);
            *out_num = count;
            FC_VERBOSE(func, "get %s cfg succ. fc_convert_%s_num:%d\r\n", kind, kind, *out_num);
        }
    }
    if (keep != nullptr && ret == 0) {
        *keep = list;
    } else {
        fc_cfg_release(list);
    }
    FC_VERBOSE(func, "ok\r\n");
    return ret;
}

void fc_show_entries(const dm_convert_cfg_t *cfg, int from, int to)
{
    for (int i = from; i <= to; ++i) {
        std::printf("%#15x %5d\r\n", cfg[i].phyid, cfg[i].type);
    }
}

// Entries from..to, which no chunk wrote: each on its line, or one line for
// a long run of them.
void fc_show_unsent(const dm_convert_cfg_t *cfg, int from, int to)
{
    if (to - from + 1 <= kUnsentLinesMax) {
        fc_show_entries(cfg, from, to);
        return;
    }
    std::printf("%15s %5s  (entries %d to %d, %d in all, were not sent)\r\n", "0", "0", from, to,
                to - from + 1);
}

// Prints the copy `cfg` of `list`: every entry a chunk wrote, and the runs of
// entries none wrote as fc_show_unsent does.
void test_display_convert_cfg(const dm_convert_cfg_t *cfg, int num, const fc_cfg_t *list)
{
    if (cfg == nullptr) {
        std::printf("cfg is null\r\n");
        return;
    }
    std::printf("%15s %5s\r\n", "phyid", "type");
    size_t chunks = 0;
    for (const fc_chunk_t *k = list->first; k != nullptr; k = k->next) {
        ++chunks;
    }
    // The written ranges, in index order.
    auto *ranges = static_cast<std::pair<int, int> *>(
        std::malloc(std::max<size_t>(chunks, 1) * sizeof(std::pair<int, int>)));
    if (ranges == nullptr) {
        fc_show_entries(cfg, 0, num - 1);
        return;
    }
    size_t n = 0;
    for (const fc_chunk_t *k = list->first; k != nullptr; k = k->next) {
        ranges[n++] = {k->min, k->max};
    }
    std::sort(ranges, ranges + n);
    int next = 0;  // the first entry not printed yet
    for (size_t r = 0; r < n; ++r) {
        if (ranges[r].second < next) {
            continue;
        }
        if (ranges[r].first > next) {
            fc_show_unsent(cfg, next, ranges[r].first - 1);
            next = ranges[r].first;
        }
        fc_show_entries(cfg, next, ranges[r].second);
        next = ranges[r].second + 1;
    }
    if (next < num) {
        fc_show_unsent(cfg, next, num - 1);
    }
    std::free(ranges);
}

// Prints a list through its getter, as the show commands do.
void fc_cfg_show(fc_list &l)
{
    dm_convert_cfg_t *cfg = nullptr;
    int num = 0;
    fc_cfg_t *list = nullptr;
    const int ret = l.get(&cfg, &num, l.getter, &list);
    if (ret != 0) {
        std::printf("%s fail.ret:%d\r\n", l.getter, ret);
        return;
    }
    std::printf("%s succ. num:%d, cfg:%p\r\n", l.getter, num, static_cast<void *>(cfg));
    if (num != 0 && cfg != nullptr) {
        test_display_convert_cfg(cfg, num, list);
        std::free(cfg);
    }
    fc_cfg_release(list);
}

}  // namespace

void dm_fc_lib_start_cfg_begin(void *data)
{
    fc_start_list.handle(&fc_list::begin, data, __func__);
}
void dm_fc_lib_start_cfg(void *data) { fc_start_list.handle(&fc_list::chunk, data, __func__); }
void dm_fc_lib_start_cfg_over(void *data)
{
    fc_start_list.handle(&fc_list::commit, data, __func__);
}
void dm_fc_lib_save_cfg_begin(void *data) { fc_save_list.handle(&fc_list::begin, data, __func__); }
void dm_fc_lib_save_cfg(void *data) { fc_save_list.handle(&fc_list::chunk, data, __func__); }
void dm_fc_lib_save_cfg_over(void *data) { fc_save_list.handle(&fc_list::commit, data, __func__); }

long long dm_fc_lib_chunk_len(const void *data, int len)
{
    const long long head_len = static_cast<long long>(sizeof(dp_lib_fc_cfg_info_t));
    if (data == nullptr || len < head_len) {
        return head_len;
    }
    dp_lib_fc_cfg_info_t head;
    std::memcpy(&head, data, sizeof head);
    // A range the handler refuses whatever the staging holds (reversed, or
    // starting below 0) needs only the head, so that the handler's own range
    // warning reports it rather than a length refusal.
    if (head.cfg_min < 0 || head.cfg_max < head.cfg_min) {
        return head_len;
    }
    const long long entries = static_cast<long long>(head.cfg_max) - head.cfg_min + 1;
    return head_len + entries * kEntryLen;
}

int dm_get_fc_startup_cfg(dm_convert_cfg_t **cfg, int *num)
{
    return fc_start_list.get(cfg, num, __func__);
}

int dm_get_fc_save_cfg(dm_convert_cfg_t **cfg, int *num)
{
    return fc_save_list.get(cfg, num, __func__);
}

void test_dm_get_fc_startup_cfg(void) { fc_cfg_show(fc_start_list); }

void test_dm_get_fc_save_cfg(void) { fc_cfg_show(fc_save_list); }

void test_dm_fc_dbg_level(void)
{
    // Widened: "fcdbg " may have set any int, the largest included.
    const long long next =
        static_cast<long long>(dm_fc_lib_dbg.load(std::memory_order_relaxed)) + 1;
    const int level = static_cast<int>(next % kLevelCount);
    dm_fc_lib_dbg.store(level, std::memory_order_relaxed);
    std::printf("dm_fc_lib_dbg=%d\r\n", level);
}
