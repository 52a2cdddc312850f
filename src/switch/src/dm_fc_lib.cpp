// The startup and saved port-conversion lists (ports converted between
// Ethernet and Fibre Channel): each arrives as a transfer of begin, data
// chunks and over, is staged, committed in one step at the over, announced
// by a device event, and handed to readers as copies. Show commands 10 to 12.
#include "dm_fc_lib.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "dm_diag.h"
#include "dm_lib_pd_internal.h"
#include "dm_lock.h"
#include <dm_lib_pd/dm_fc.h>

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

// Guards the committed pointer, size and count of both lists.
dm_mutex fc_lib_lock;

// The startup list. The committed triple is read by any thread; the staging
// triple and the committed flag are touched only by this list's three
// handlers, which the host never runs concurrently, so they take no lock.
dm_convert_cfg_t *fc_start_cfg DM_GUARDED_BY(fc_lib_lock) = nullptr;
int fc_convert_start_num DM_GUARDED_BY(fc_lib_lock) = 0;
int fc_start_cfg_size DM_GUARDED_BY(fc_lib_lock) = 0;
dm_convert_cfg_t *fc_start_cfg_tmp = nullptr;
int fc_convert_start_num_tmp = 0;
int fc_start_cfg_size_tmp = 0;
bool fc_start_cfg_over = false;  // the staging buffer is the committed list

// The saved list, the same set.
dm_convert_cfg_t *fc_save_cfg DM_GUARDED_BY(fc_lib_lock) = nullptr;
int fc_convert_save_num DM_GUARDED_BY(fc_lib_lock) = 0;
int fc_save_cfg_size DM_GUARDED_BY(fc_lib_lock) = 0;
dm_convert_cfg_t *fc_save_cfg_tmp = nullptr;
int fc_convert_save_num_tmp = 0;
int fc_save_cfg_size_tmp = 0;
bool fc_save_cfg_over = false;

// One list's state, so that both lists run the same transfer code.
struct fc_list_t {
    dm_convert_cfg_t **cfg DM_PT_GUARDED_BY(fc_lib_lock);
    int *num DM_PT_GUARDED_BY(fc_lib_lock);
    int *size DM_PT_GUARDED_BY(fc_lib_lock);
    dm_convert_cfg_t **cfg_tmp;
    int *num_tmp;
    int *size_tmp;
    bool *over;
    bool save;             // the saved list prints a few traces of its own
    int event_id;          // raised at every over
    const char *log_text;  // the log-file line of every over
};

const fc_list_t fc_start_list = {
    &fc_start_cfg,
    &fc_convert_start_num,
    &fc_start_cfg_size,
    &fc_start_cfg_tmp,
    &fc_convert_start_num_tmp,
    &fc_start_cfg_size_tmp,
    &fc_start_cfg_over,
    false,
    DEV_MSG_FC_START_CFG_OVER,
    "fc startup cfg sync over",
};

const fc_list_t fc_save_list = {
    &fc_save_cfg,
    &fc_convert_save_num,
    &fc_save_cfg_size,
    &fc_save_cfg_tmp,
    &fc_convert_save_num_tmp,
    &fc_save_cfg_size_tmp,
    &fc_save_cfg_over,
    true,
    DEV_MSG_FC_SAVE_CFG,
    "fc save cfg sync over",
};

// Drops the staging buffer, which after an over is also the committed list:
// from here until the next over the list reads as empty.
void fc_cfg_drop_staging(const fc_list_t &l)
{
    if (*l.cfg_tmp == nullptr) {
        return;
    }
    {
        dm_mutex_guard lock(fc_lib_lock);
        std::free(*l.cfg_tmp);
        *l.cfg = nullptr;
    }
    *l.cfg_tmp = nullptr;
}

void fc_cfg_begin(const fc_list_t &l, const void *data, const char *func)
{
    if (data == nullptr) {
        return;
    }
    FC_VERBOSE(func, "enter\r\n");
    int32_t num;
    std::memcpy(&num, data, sizeof num);
    if (num < 0) {
        FC_WARN(func, "num:%d\r\n", num);
        return;
    }
    // num x 8 bytes must fit the signed size: a larger count is refused like
    // a negative one, and the list and its staging stay as they were.
    if (num > kFcNumMax) {
        FC_WARN(func, "num:%d too large, max:%d\r\n", num, kFcNumMax);
        return;
    }
    FC_DETAIL(func, "num:%d\r\n", num);
    *l.num_tmp = num;
    *l.size_tmp = num * kEntryLen;
    fc_cfg_drop_staging(l);
    *l.over = false;
    if (l.save) {
        FC_VERBOSE(func, "fc_convert_save_num_tmp:%d\r\n", *l.num_tmp);
    }
    if (num == 0) {
        return;
    }
    void *buf = std::calloc(static_cast<size_t>(num), sizeof(dm_convert_cfg_t));
    if (buf == nullptr) {
        FC_WARN(func, "no memory\r\n");
        *l.num_tmp = 0;
        *l.size_tmp = 0;
        return;
    }
    *l.cfg_tmp = static_cast<dm_convert_cfg_t *>(buf);
    FC_VERBOSE(func, "ok\r\n");
}

void fc_cfg_chunk(const fc_list_t &l, const void *data, const char *func)
{
    if (data == nullptr) {
        return;
    }
    FC_VERBOSE(func, "enter\r\n");
    dp_lib_fc_cfg_info_t head;
    std::memcpy(&head, data, sizeof head);
    // After an over the staging buffer is the committed list that readers
    // copy under the lock; writing it without the lock would race them, and
    // a chunk that lands between two transfers belongs to neither. It is
    // refused until the next begin opens a new transfer.
    if (*l.over) {
        FC_WARN(func, "cfg is over, range[%d, %d] dropped until next begin\r\n", head.cfg_min,
                head.cfg_max);
        return;
    }
    if (head.cfg_min < 0 || head.cfg_max >= *l.num_tmp || head.cfg_min > head.cfg_max) {
        FC_WARN(func, "invalid range[%d, %d], max:%d\r\n", head.cfg_min, head.cfg_max, *l.num_tmp);
        return;
    }
    const size_t count = static_cast<size_t>(head.cfg_max - head.cfg_min) + 1;
    std::memcpy(*l.cfg_tmp + head.cfg_min, static_cast<const char *>(data) + sizeof head,
                count * sizeof(dm_convert_cfg_t));
    FC_VERBOSE(func, "ok\r\n");
}

void fc_cfg_over(const fc_list_t &l, const void *data, const char *func)
{
    if (data == nullptr) {
        return;
    }
    FC_VERBOSE(func, "enter\r\n");
    {
        dm_mutex_guard lock(fc_lib_lock);
        *l.cfg = *l.cfg_tmp;
        *l.size = *l.size_tmp;
        *l.num = *l.num_tmp;
    }
    *l.over = true;
    if (l.save) {
        // The committed values equal the staging ones just published.
        FC_VERBOSE(func, "fc_save_cfg:%p, fc_save_cfg_size:%d, fc_convert_save_num:%d\r\n",
                   static_cast<void *>(*l.cfg_tmp), *l.size_tmp, *l.num_tmp);
    }
    dev_msg_t msg = {l.event_id, 0};
    dm_dev_event_notify_pd(&msg);
    dm_logfile_write_log(logfile_info, "<%s, %d>:%s", func, __LINE__, l.log_text);
    FC_VERBOSE(func, "ok\r\n");
}

int fc_cfg_get(const fc_list_t &l, dm_convert_cfg_t **cfg, int *num, const char *func)
{
    if (cfg == nullptr || num == nullptr) {
        return -1;
    }
    FC_VERBOSE(func, "enter\r\n");
    *cfg = nullptr;
    *num = 0;
    int ret = 0;
    {
        dm_mutex_guard lock(fc_lib_lock);
        if (*l.num == 0 || *l.cfg == nullptr) {
            if (l.save) {
                FC_DETAIL(func, "fc_convert_save_num:%d, fc_save_cfg:%p\r\n", *l.num,
                          static_cast<void *>(*l.cfg));
            } else {
                FC_DETAIL(func, "fc_convert_start_num:%d, fc_start_cfg:%p\r\n", *l.num,
                          static_cast<void *>(*l.cfg));
            }
        } else {
            void *copy = std::malloc(static_cast<size_t>(*l.size));
            if (copy == nullptr) {
                FC_WARN(func, "alloc fail\r\n");
                ret = -1;
            } else {
                std::memcpy(copy, *l.cfg, static_cast<size_t>(*l.size));
                *cfg = static_cast<dm_convert_cfg_t *>(copy);
                *num = *l.num;
                if (l.save) {
                    FC_VERBOSE(func, "get save cfg succ. fc_convert_save_num:%d\r\n", *num);
                } else {
                    FC_VERBOSE(func, "get start cfg succ. fc_convert_start_num:%d\r\n", *num);
                }
            }
        }
    }
    FC_VERBOSE(func, "ok\r\n");
    return ret;
}

void test_display_convert_cfg(dm_convert_cfg_t *cfg, int num)
{
    if (cfg == nullptr) {
        std::printf("cfg is null\r\n");
        return;
    }
    std::printf("%15s %5s\r\n", "phyid", "type");
    for (int i = 0; i < num; ++i) {
        std::printf("%#15x %5d\r\n", cfg[i].phyid, cfg[i].type);
    }
}

// Prints a list through its getter, as the show commands do.
void fc_cfg_show(int (*getter)(dm_convert_cfg_t **, int *), const char *name)
{
    dm_convert_cfg_t *cfg = nullptr;
    int num = 0;
    const int ret = getter(&cfg, &num);
    if (ret != 0) {
        std::printf("%s fail.ret:%d\r\n", name, ret);
        return;
    }
    std::printf("%s succ. num:%d, cfg:%p\r\n", name, num, static_cast<void *>(cfg));
    if (num != 0 && cfg != nullptr) {
        test_display_convert_cfg(cfg, num);
        std::free(cfg);
    }
}

}  // namespace

void dm_fc_lib_start_cfg_begin(void *data) { fc_cfg_begin(fc_start_list, data, __func__); }
void dm_fc_lib_start_cfg(void *data) { fc_cfg_chunk(fc_start_list, data, __func__); }
void dm_fc_lib_start_cfg_over(void *data) { fc_cfg_over(fc_start_list, data, __func__); }
void dm_fc_lib_save_cfg_begin(void *data) { fc_cfg_begin(fc_save_list, data, __func__); }
void dm_fc_lib_save_cfg(void *data) { fc_cfg_chunk(fc_save_list, data, __func__); }
void dm_fc_lib_save_cfg_over(void *data) { fc_cfg_over(fc_save_list, data, __func__); }

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
    return fc_cfg_get(fc_start_list, cfg, num, __func__);
}

int dm_get_fc_save_cfg(dm_convert_cfg_t **cfg, int *num)
{
    return fc_cfg_get(fc_save_list, cfg, num, __func__);
}

void test_dm_get_fc_startup_cfg(void)
{
    fc_cfg_show(dm_get_fc_startup_cfg, "dm_get_fc_startup_cfg");
}

void test_dm_get_fc_save_cfg(void) { fc_cfg_show(dm_get_fc_save_cfg, "dm_get_fc_save_cfg"); }

void test_dm_fc_dbg_level(void)
{
    // Widened: "fcdbg " may have set any int, the largest included.
    const long long next =
        static_cast<long long>(__atomic_load_n(&dm_fc_lib_dbg, __ATOMIC_RELAXED)) + 1;
    const int level = static_cast<int>(next % kLevelCount);
    __atomic_store_n(&dm_fc_lib_dbg, level, __ATOMIC_RELAXED);
    std::printf("dm_fc_lib_dbg=%d\r\n", level);
}
