// The host's registration calls and the control calls that drive what was
// registered: the library's initialiser and debug-option parser, its message
// handler set, the address-manager client's handlers, and the host's own
// steps of the batch end, recorded in call order.
#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "dm_host_ctl.h"
#include "dm_host_internal.h"

namespace {

constexpr int kModuleCount = DP_LIB_MOD_PD + 1;
constexpr int kHeaderLen = static_cast<int>(sizeof(dp_lib_msg_h_t));

// Guards everything the library registered.
pthread_mutex_t reg_lock = PTHREAD_MUTEX_INITIALIZER;
int (*reg_init)(void);
void (*reg_dbg_init)(char *buf);
lib_modu_handle_t reg_modules[kModuleCount];
bool reg_module_set[kModuleCount];
addr_lib_pd_frame_t reg_addr_frame;

// Guards the names of the batch-end steps called so far.
pthread_mutex_t steps_lock = PTHREAD_MUTEX_INITIALIZER;
dm_host::table<const char *> steps;
bool log_events;  // guarded by steps_lock

lib_modu_handle_t pd_handlers()
{
    dm_host::mutex_guard g(reg_lock);
    return reg_modules[DP_LIB_MOD_PD];
}

// Calls the library's handler `f` with `arg`; false when none is registered.
template <class Fn>
bool call_pd(Fn lib_modu_handle_t::*f, int arg)
{
    const lib_modu_handle_t h = pd_handlers();
    if (h.*f == nullptr) {
        return false;
    }
    (h.*f)(arg);
    return true;
}

addr_lib_pd_frame_t addr_handlers()
{
    dm_host::mutex_guard g(reg_lock);
    return reg_addr_frame;
}

int record_step(const char *name)
{
    dm_host::mutex_guard g(steps_lock);
    return steps.push(name) ? 0 : -1;
}

// Hands `len` bytes to a registered data handler in a heap block of exactly
// that size, so a handler that reads past the message is caught by the
// memory checkers rather than reading the caller's neighbouring data (an
// empty message, or one no copy can be made of, is handed over as it is).
// False when no handler is registered.
bool send_exact_copy(void (*handler)(void *, int), const void *buf, int len)
{
    if (handler == nullptr) {
        return false;
    }
    void *copy = (buf == nullptr || len <= 0) ? nullptr : std::malloc(static_cast<size_t>(len));
    if (copy == nullptr) {
        handler(const_cast<void *>(buf), len);
        return true;
    }
    std::memcpy(copy, buf, static_cast<size_t>(len));
    handler(copy, len);
    std::free(copy);
    return true;
}

}  // namespace

extern "C" {

int lib_pd_reg_init_handler(int (*init)(void))
{
    if (init == nullptr) {
        return -1;
    }
    dm_host::mutex_guard g(reg_lock);
    reg_init = init;
    return 0;
}

int lib_pd_reg_dbg_init_handler(void (*dbg_init)(char *buf))
{
    if (dbg_init == nullptr) {
        return -1;
    }
    dm_host::mutex_guard g(reg_lock);
    reg_dbg_init = dbg_init;
    return 0;
}

int dm_dp_lib_reg_dispatch_msg_handler(int module, lib_modu_handle_t *handles)
{
    if (handles == nullptr || module < 0 || module >= kModuleCount) {
        return -1;
    }
    dm_host::mutex_guard g(reg_lock);
    reg_modules[module] = *handles;
    reg_module_set[module] = true;
    return 0;
}

int addr_lib_reg_pd_frame(addr_lib_pd_frame_t *frame)
{
    if (frame == nullptr) {
        return -1;
    }
    dm_host::mutex_guard g(reg_lock);
    reg_addr_frame = *frame;
    return 0;
}

// ---- the host's steps of the batch end -------------------------------------

int dp_lib_role_batch_local(void) { return record_step("dp_lib_role_batch_local"); }
int hotplug_lib_batch_local(void) { return record_step("hotplug_lib_batch_local"); }
int dtm_lib_batch_over_handle(void) { return record_step("dtm_lib_batch_over_handle"); }
int hotplug_lib_batch_install(void) { return record_step("hotplug_lib_batch_install"); }
int addr_lib_notity_dcm_ready(void) { return record_step("addr_lib_notity_dcm_ready"); }
int dm_card_sub_pre_insert_noti_batch(void)
{
    return record_step("dm_card_sub_pre_insert_noti_batch");
}
int dp_lib_role_batch_global(void) { return record_step("dp_lib_role_batch_global"); }
int hotplug_lib_batch_global(void) { return record_step("hotplug_lib_batch_global"); }
int hotplug_lib_batch_dp_complete(void) { return record_step("hotplug_lib_batch_dp_complete"); }
int dm_check_ldp_probe_noti_batch(void) { return record_step("dm_check_ldp_probe_noti_batch"); }

// ---- driving the library ----------------------------------------------------

bool dm_host_lib_registered(void)
{
    dm_host::mutex_guard g(reg_lock);
    return reg_module_set[DP_LIB_MOD_PD];
}

int dm_host_run_init(void)
{
    int (*init)(void);
    {
        dm_host::mutex_guard g(reg_lock);
        init = reg_init;
    }
    return init == nullptr ? -1 : init();
}

void dm_host_run_dbg_init(const char *option)
{
    void (*dbg_init)(char *);
    {
        dm_host::mutex_guard g(reg_lock);
        dbg_init = reg_dbg_init;
    }
    if (dbg_init == nullptr) {
        return;
    }
    if (option == nullptr) {
        dbg_init(nullptr);
        return;
    }
    // The parser takes a writable string: hand it a copy of the option.
    char *copy = strdup(option);
    if (copy != nullptr) {
        dbg_init(copy);
        std::free(copy);
    }
}

bool dm_host_send_data(const void *buf, int len)
{
    return send_exact_copy(pd_handlers().data_f, buf, len);
}

bool dm_host_send_rpc(void *buf, int len, int *ack_len)
{
    lib_modu_handle_t h = pd_handlers();
    if (h.rpc_f == nullptr) {
        return false;
    }
    if (buf == nullptr || len <= 0) {
        h.rpc_f(buf, len, ack_len);
        return true;
    }
    // The host's request buffer: exactly the promised room (or the request,
    // if longer), so a reply written past it is caught by the memory checkers.
    const size_t room = std::max<size_t>(static_cast<size_t>(len), DM_HOST_RPC_REPLY_ROOM);
    auto *host_buf = static_cast<unsigned char *>(std::calloc(room, 1));
    if (host_buf == nullptr) {
        return false;
    }
    std::memcpy(host_buf, buf, static_cast<size_t>(len));
    h.rpc_f(host_buf, len, ack_len);
    std::memcpy(buf, host_buf, room);
    std::free(host_buf);
    return true;
}

bool dm_host_batch(int batch_flag) { return call_pd(&lib_modu_handle_t::data_batch_f, batch_flag); }

bool dm_host_show(int para) { return call_pd(&lib_modu_handle_t::debug_show_f, para); }

bool dm_host_send_msg(int msgid, const void *payload, int len)
{
    lib_modu_handle_t h = pd_handlers();
    if (h.data_f == nullptr || len < 0 || (len > 0 && payload == nullptr)) {
        return false;
    }
    const size_t total = static_cast<size_t>(kHeaderLen) + static_cast<size_t>(len);
    auto *buf = static_cast<unsigned char *>(std::malloc(total));
    if (buf == nullptr) {
        return false;
    }
    const dp_lib_msg_h_t head = {0, msgid, DP_LIB_MOD_PD, len};
    std::memcpy(buf, &head, sizeof head);
    if (len > 0) {
        std::memcpy(buf + kHeaderLen, payload, static_cast<size_t>(len));
    }
    h.data_f(buf, static_cast<int>(total));
    std::free(buf);
    return true;
}

bool dm_host_addr_data(const void *buf, int len)
{
    return send_exact_copy(addr_handlers().data_handle, buf, len);
}

bool dm_host_addr_batch(int flag)
{
    addr_lib_pd_frame_t f = addr_handlers();
    if (f.batch_handle == nullptr) {
        return false;
    }
    f.batch_handle(flag);
    return true;
}

// ---- what the host observed -------------------------------------------------

int dm_host_batch_steps(char *buf, size_t size)
{
    dm_host::mutex_guard g(steps_lock);
    size_t used = 0;
    for (size_t i = 0; i < steps.count && buf != nullptr && size > 0; ++i) {
        for (const char *c = steps.items[i]; *c != '\0' && used + 1 < size; ++c) {
            buf[used++] = *c;
        }
        if (used + 1 < size) {
            buf[used++] = '\n';
        }
    }
    if (buf != nullptr && size > 0) {
        buf[used] = '\0';
    }
    return static_cast<int>(steps.count);
}

void dm_host_batch_steps_clear(void)
{
    dm_host::mutex_guard g(steps_lock);
    steps.clear();
}

void dm_host_batch_steps_log_events(bool on)
{
    dm_host::mutex_guard g(steps_lock);
    log_events = on;
}

}  // extern "C"

void dm_host::log_event_step()
{
    dm_host::mutex_guard g(steps_lock);
    if (log_events) {
        steps.push("dm_dev_event_notify");
    }
}
