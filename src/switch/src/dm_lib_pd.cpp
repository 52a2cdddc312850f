// Load-time start (the top of the library: it starts every table and
// registers the handler sets), the event thread and the debug-option parser.
#include "dm_lib_pd.h"

#include <sys/prctl.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "dm_chipid_sync.h"
#include "dm_dev_info_client.h"
#include "dm_diag.h"
#include "dm_event_bridge.h"

namespace {

// The event list handed to the host's loop; owned by the host after load.
dev_event_list_t dm_dev_event_pd = {
    {&dm_dev_event_pd.list, &dm_dev_event_pd.list},
    PTHREAD_MUTEX_INITIALIZER,
    {},
    0,
};

constexpr int kThreadNameLen = 16;  // Linux limit, terminating zero included
constexpr char kFcDbgOption[] = "fcdbg ";

void *lib_pd_event_thread(void *)
{
    char name[kThreadNameLen];
    std::snprintf(name, sizeof name, "lib_eventpd_%s", lib_name);
    prctl(PR_SET_NAME, name);
    dev_event_thread_prototype(&dm_dev_event_pd, dm_dev_event_handler_pd());
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
    dm_fc_lib_dbg.store(std::atoi(buf + sizeof kFcDbgOption - 1), std::memory_order_relaxed);
}
