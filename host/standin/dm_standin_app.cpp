// The application around the library: event and RPC handlers that record
// what they receive.
#include "dm_standin.h"

#include <dlfcn.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>

namespace dmstandin {
namespace {

// A device message queued behind the library's events: when the handler sees
// it, every event queued before it has been delivered (the host's loop
// delivers in order). Its identifier is none the library uses.
constexpr int kMarkerMsgId = 0x7D5B0000;

struct AppState {
    std::mutex mutex;
    std::condition_variable cv;
    std::vector<Message> events;
    size_t events_taken = 0;  // app_take_events hands out events from here
    unsigned markers_sent = 0;
    unsigned markers_seen = 0;
    std::vector<Request> requests;
    size_t requests_taken = 0;
    RpcReply reply;
};

// Never destroyed: the library's event thread may still deliver while the
// process exits.
AppState &state()
{
    static AppState *s = new AppState;
    return *s;
}

Message copy_message(dev_msg_t *msg)
{
    dev_msg_t head;
    std::memcpy(&head, msg, sizeof head);
    const auto *data = static_cast<const uint8_t *>(dev_msg_data(msg));
    return {head.msg_id, Bytes(data, data + std::max(head.data_len, 0))};
}

template <class T>
std::vector<T> take_from(std::vector<T> &all, size_t &taken)
{
    std::vector<T> out(all.begin() + static_cast<std::ptrdiff_t>(taken), all.end());
    taken = all.size();
    return out;
}

}  // namespace

int app_event_handler(dev_msg_t *msg)
{
    if (msg == nullptr) {
        return -1;
    }
    Message e = copy_message(msg);
    AppState &a = state();
    {
        std::lock_guard<std::mutex> lock(a.mutex);
        if (e.msg_id == kMarkerMsgId && e.data.size() == sizeof a.markers_seen) {
            std::memcpy(&a.markers_seen, e.data.data(), sizeof a.markers_seen);
        } else {
            a.events.push_back(std::move(e));
        }
    }
    a.cv.notify_all();
    return 0;
}

int app_rpc_handler(dev_msg_t *msg, void *ret_buf, int buf_len, int *ret_len)
{
    if (msg == nullptr || ret_buf == nullptr || ret_len == nullptr) {
        return -1;
    }
    Message req = copy_message(msg);
    AppState &a = state();
    std::lock_guard<std::mutex> lock(a.mutex);
    const size_t n = std::min(static_cast<size_t>(std::max(buf_len, 0)), a.reply.reply.size());
    if (n > 0) {
        std::memcpy(ret_buf, a.reply.reply.data(), n);
    }
    *ret_len = a.reply.claimed_len >= 0 ? a.reply.claimed_len : static_cast<int>(n);
    a.requests.push_back({req.msg_id, std::move(req.data), a.reply.result, *ret_len});
    return a.reply.result;
}

bool app_register()
{
    using reg_event_fn = int (*)(dev_event_handler);
    using reg_rpc_fn = int (*)(dev_rpc_handler);
    auto reg_event =
        reinterpret_cast<reg_event_fn>(dlsym(RTLD_DEFAULT, "dm_reg_dev_event_handler_pd"));
    auto reg_rpc = reinterpret_cast<reg_rpc_fn>(dlsym(RTLD_DEFAULT, "dm_reg_dev_rpc_handler_pd"));
    return reg_event != nullptr && reg_rpc != nullptr && reg_event(app_event_handler) == 0 &&
           reg_rpc(app_rpc_handler) == 0;
}

std::vector<Message> app_events() { return app_wait_events(0, 0); }

std::vector<Message> app_wait_events(size_t n, int timeout_ms)
{
    AppState &a = state();
    std::unique_lock<std::mutex> lock(a.mutex);
    a.cv.wait_for(lock, std::chrono::milliseconds(timeout_ms),
                  [&a, n] { return a.events.size() >= n; });
    return a.events;
}

void app_clear_events()
{
    AppState &a = state();
    std::lock_guard<std::mutex> lock(a.mutex);
    a.events.clear();
    a.events_taken = 0;
}

std::vector<Message> app_take_events(int timeout_ms)
{
    AppState &a = state();
    unsigned seq;
    {
        std::lock_guard<std::mutex> lock(a.mutex);
        seq = ++a.markers_sent;
    }
    struct {
        dev_msg_t head;
        unsigned seq;
    } marker = {{kMarkerMsgId, static_cast<int32_t>(sizeof(unsigned))}, seq};
    // Queued like the library's own events, so it arrives after them.
    const bool queued = dm_dev_event_notify(&marker.head) == 0;
    std::unique_lock<std::mutex> lock(a.mutex);
    if (queued) {
        a.cv.wait_for(lock, std::chrono::milliseconds(timeout_ms),
                      [&a, seq] { return a.markers_seen >= seq; });
    }
    return take_from(a.events, a.events_taken);
}

void app_set_rpc_reply(RpcReply reply)
{
    AppState &a = state();
    std::lock_guard<std::mutex> lock(a.mutex);
    a.reply = std::move(reply);
}

RpcReply app_rpc_reply()
{
    AppState &a = state();
    std::lock_guard<std::mutex> lock(a.mutex);
    return a.reply;
}

std::vector<Request> app_requests()
{
    AppState &a = state();
    std::lock_guard<std::mutex> lock(a.mutex);
    return a.requests;
}

std::vector<Request> app_take_requests()
{
    AppState &a = state();
    std::lock_guard<std::mutex> lock(a.mutex);
    return take_from(a.requests, a.requests_taken);
}

}  // namespace dmstandin
