// The bridge that carries device events and the device RPC to the
// application: its two registered handlers, the event raise and the RPC call.
// It sits low: the areas that raise events or ask the RPC call down into it.
#include "dm_event_bridge.h"

#include <atomic>

#include "dm_diag.h"
#include <dm_lib_pd/dm_event.h>

namespace {

// The application's handlers. Each slot is written once, at registration,
// before events and RPCs flow; later readers run on other threads, so the
// pointer is published and read atomically.
std::atomic<dev_event_handler> dm_dev_event_funcp_pd{nullptr};
std::atomic<dev_rpc_handler> dm_dev_rpc_funcp_pd{nullptr};

template <class Fn>
int dm_reg_handler_once(std::atomic<Fn> *slot, Fn func)
{
    if (func == nullptr) {
        DM_WARN("msg deal fun not registered\r\n");
        return -1;
    }
    Fn expected = nullptr;
    if (!slot->compare_exchange_strong(expected, func, std::memory_order_acq_rel,
                                       std::memory_order_acquire)) {
        DM_ERROR("msg deal fun have registered\r\n");
        return -1;
    }
    DM_VERBOSE("msg deal fun registered\r\n");
    return 0;
}

}  // namespace

dev_event_handler dm_dev_event_handler_pd(void)
{
    return dm_dev_event_funcp_pd.load(std::memory_order_acquire);
}

int dm_reg_dev_event_handler_pd(dev_event_handler func)
{
    return dm_reg_handler_once(&dm_dev_event_funcp_pd, func);
}

int dm_reg_dev_rpc_handler_pd(dev_rpc_handler func)
{
    return dm_reg_handler_once(&dm_dev_rpc_funcp_pd, func);
}

int dm_dev_event_notify_pd(dev_msg_t *msg)
{
    if (msg == nullptr) {
        DM_ERROR("%s\r\n", "input arguments error");
        return -1;
    }
    if (dm_dev_event_handler_pd() == nullptr) {
        DM_WARN("%s\r\n", "event deal function not register");
        return -1;
    }
    return dm_dev_event_notify(msg);
}

int dm_dev_rpc_handle_pd(dev_msg_t *msg, void *ret_buf, int buf_len, int *ret_len)
{
    if (msg == nullptr || ret_buf == nullptr || ret_len == nullptr) {
        DM_ERROR("%s\r\n", "input arguments error");
        return -1;
    }
    dev_rpc_handler handler = dm_dev_rpc_funcp_pd.load(std::memory_order_acquire);
    if (handler == nullptr) {
        DM_WARN("%s\r\n", "event deal function not register");
        return -1;
    }
    DM_VERBOSE("before call rpc func, msg id: %d\r\n", msg->msg_id);
    int ret = handler(msg, ret_buf, buf_len, ret_len);
    DM_VERBOSE("after call rpc func, msg id: %d\r\n", msg->msg_id);
    return ret;
}
