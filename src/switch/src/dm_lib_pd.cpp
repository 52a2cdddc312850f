// Load-time start, the event thread, the debug-option parser and the bridge
// that carries device events and the device RPC to the application.
#include <sys/prctl.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "addr_chip_lib.h"
#include "dm_dev_info_client.h"
#include "dm_diag.h"
#include "dm_lib_pd_internal.h"
#include <dm_lib_pd/dm_event.h>

// The port-conversion messages' level; "fcdbg N" sets it, show 12 cycles it.
int dm_fc_lib_dbg = DM_FC_LIB_DBG_END;

namespace {

// The application's handlers. Each slot is written once, at registration,
// before events and RPCs flow; later readers run on other threads, so the
// pointer is published and read atomically.
dev_event_handler dm_dev_event_funcp_pd = nullptr;
dev_rpc_handler dm_dev_rpc_funcp_pd = nullptr;

// The event list handed to the host's loop; owned by the host after load.
dev_event_list_t dm_dev_event_pd = {
    {&dm_dev_event_pd.list, &dm_dev_event_pd.list},
    PTHREAD_MUTEX_INITIALIZER,
    {},
    0,
};

constexpr int kThreadNameLen = 16;  // Linux limit, terminating zero included
constexpr char kFcDbgOption[] = "fcdbg ";

template <class Fn>
int dm_reg_handler_once(Fn *slot, Fn func)
{
    if (func == nullptr) {
        DM_WARN("msg deal fun not registered\r\n");
        return -1;
    }
    Fn expected = nullptr;
    if (!__atomic_compare_exchange_n(slot, &expected, func, false, __ATOMIC_ACQ_REL,
                                     __ATOMIC_ACQUIRE)) {
        DM_ERROR("msg deal fun have registered\r\n");
        return -1;
    }
    DM_VERBOSE("msg deal fun registered\r\n");
    return 0;
}

void *lib_pd_event_thread(void *)
{
    char name[kThreadNameLen];
    std::snprintf(name, sizeof name, "lib_eventpd_%s", lib_name);
    prctl(PR_SET_NAME, name);
    dev_event_thread_prototype(&dm_dev_event_pd,
                               __atomic_load_n(&dm_dev_event_funcp_pd, __ATOMIC_ACQUIRE));
    return nullptr;
}

void dm_lib_pd_init()
{
    lib_pd_reg_init_handler(lib_pd_init);
    lib_pd_reg_dbg_init_handler(lib_pd_dbg_init);
}

__attribute__((constructor)) void dm_lib_pd_initial()
{
    dm_lib_pd_init();
    if (dm_dev_info_client_init() != 0) {
        DM_WARN("dm_dev_info_client_init fail\r\n");
        return;
    }
    addr_chip_lib_reg_pd_frame();
}

// Nothing is torn down at unload: the tables live as long as the process and
// the event thread runs the host's loop until the host stops it.
__attribute__((destructor)) void dm_lib_pd_final() {}

}  // namespace

int lib_pd_init(void)
{
    int ret = dm_os_event_init(&dm_dev_event_pd.os_event);
    if (ret != 0) {
        DM_ERROR("fail to init event\r\n");
        return ret;
    }
    pthread_t tid;
    ret = pthread_create(&tid, nullptr, lib_pd_event_thread, nullptr);
    if (ret != 0) {
        DM_ERROR("fail to create thread\r\n");
    }
    return ret;
}

void lib_pd_dbg_init(char *buf)
{
    if (buf == nullptr || std::strncmp(buf, kFcDbgOption, sizeof kFcDbgOption - 1) != 0) {
        return;
    }
    __atomic_store_n(&dm_fc_lib_dbg, std::atoi(buf + sizeof kFcDbgOption - 1), __ATOMIC_RELAXED);
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
    if (__atomic_load_n(&dm_dev_event_funcp_pd, __ATOMIC_ACQUIRE) == nullptr) {
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
    dev_rpc_handler handler = __atomic_load_n(&dm_dev_rpc_funcp_pd, __ATOMIC_ACQUIRE);
    if (handler == nullptr) {
        DM_WARN("%s\r\n", "event deal function not register");
        return -1;
    }
    DM_VERBOSE("before call rpc func, msg id: %d\r\n", msg->msg_id);
    int ret = handler(msg, ret_buf, buf_len, ret_len);
    DM_VERBOSE("after call rpc func, msg id: %d\r\n", msg->msg_id);
    return ret;
}
