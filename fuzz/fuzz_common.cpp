// The application and host side every fuzz target shares. The event handler
// checks the shape of every device event the library raises: an identifier
// it may raise, the data length that goes with it, and for a chip-ID event a
// chip ID of the allocation table and the node type events carry.
#include "fuzz_common.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <mutex>

namespace dmfuzz {
namespace {

std::atomic<unsigned long> events{0};
std::atomic<int> rpc_result{0};
std::atomic<int> rpc_reply_len{0};

int on_event(dev_msg_t *msg)
{
    dev_msg_t head;
    std::memcpy(&head, msg, sizeof head);
    switch (head.msg_id) {
    case DEV_MSG_CHIPIP_ALLOC: {
        DM_FUZZ_CHECK(head.data_len == static_cast<int>(sizeof(dm_chipid_alloc_t)), head.data_len);
        dm_chipid_alloc_t a;
        std::memcpy(&a, dev_msg_data(msg), sizeof a);
        DM_FUZZ_CHECK(a.chipid >= 0 && a.chipid < 2048, a.chipid);
        DM_FUZZ_CHECK(a.node_type == DM_TYPE_BOX, a.node_type);
        DM_FUZZ_CHECK(a.unit >= 0 && a.unit < 16, a.unit);
        break;
    }
    case DEV_MSG_FC_START_CFG_OVER:
    case DEV_MSG_FC_SAVE_CFG:
    case DEV_MSG_PRE_INST_PORT_SYNC_DONE:
        DM_FUZZ_CHECK(head.data_len == 0, head.msg_id, head.data_len);
        break;
    default:
        fail("unknown device event", head.msg_id);
    }
    events.fetch_add(1, std::memory_order_relaxed);
    return 0;
}

// The port-validity question: the request must be the 12-byte record; the
// answer is what the target chose, written within the room given.
int on_rpc(dev_msg_t *msg, void *ret_buf, int buf_len, int *ret_len)
{
    dev_msg_t head;
    std::memcpy(&head, msg, sizeof head);
    DM_FUZZ_CHECK(head.msg_id == DEV_MSG_PORT_VALID, head.msg_id);
    DM_FUZZ_CHECK(head.data_len == static_cast<int>(sizeof(dm_port_valid_t)), head.data_len);
    DM_FUZZ_CHECK(buf_len >= 0, buf_len);
    const int result = rpc_result.load(std::memory_order_relaxed);
    if (result != 0) {
        return result;
    }
    const int len = rpc_reply_len.load(std::memory_order_relaxed);
    const int n = std::min(std::max(len, 0), buf_len);
    std::memset(ret_buf, 0xA5, static_cast<size_t>(n));
    *ret_len = len;
    return 0;
}

void start_once()
{
    const char *level = std::getenv("DM_FUZZ_DBG_LEVEL");
    dm_host_set_dbg_level(level != nullptr ? std::atoi(level) : LIB_DBG_END);
    // DM_FUZZ_STDOUT=1 keeps standard output, to look at one input's run.
    const char *keep = std::getenv("DM_FUZZ_STDOUT");
    if ((keep == nullptr || std::strcmp(keep, "1") != 0) &&
        std::freopen("/dev/null", "w", stdout) == nullptr) {
        fail("cannot send standard output to /dev/null");
    }
    if (dm_reg_dev_event_handler_pd(on_event) != 0 || dm_reg_dev_rpc_handler_pd(on_rpc) != 0) {
        fail("cannot register the application's handlers");
    }
    if (dm_host_run_init() != 0) {
        fail("the library's initialiser failed");
    }
}

}  // namespace

void fail(const char *what, long long a, long long b)
{
    std::fprintf(stderr, "dm fuzz: %s (%lld, %lld)\n", what, a, b);
    std::abort();
}

void start()
{
    static std::once_flag once;
    std::call_once(once, start_once);
}

void set_rpc_answer(int result, int reply_len)
{
    rpc_result.store(result, std::memory_order_relaxed);
    rpc_reply_len.store(reply_len, std::memory_order_relaxed);
}

unsigned long events_received() { return events.load(std::memory_order_relaxed); }

bool is_large_list_begin(const void *msg, size_t size)
{
    dp_lib_msg_h_t head;
    int32_t num;
    if (msg == nullptr || size < sizeof head + sizeof num) {
        return false;
    }
    std::memcpy(&head, msg, sizeof head);
    std::memcpy(&num, static_cast<const char *>(msg) + sizeof head, sizeof num);
    const bool begin =
        head.msgid == DP_LIB_MSG_FC_START_CFG_BEGIN || head.msgid == DP_LIB_MSG_FC_SAVE_CFG_BEGIN;
    return begin && num > 65536 && num <= 268435455;
}

void trim_host_records()
{
    dm_host_batch_steps_clear();
    dm_host_log_clear();
}

}  // namespace dmfuzz
