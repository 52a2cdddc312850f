// The application's event and RPC handlers.
#include "app.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <mutex>

#include <dm_host.h>

#include "args.h"

namespace dmsim {

namespace {

// A device message dmsim queues behind the library's events: when the
// handler sees it, every event queued before it has been delivered (the
// host's loop delivers in order). Its identifier is none the library uses.
constexpr int kBarrierMsgId = 0x7D5B0000;

// What the handlers share with the commands. It is never destroyed: the
// library's event thread may still deliver while the process exits.
struct AppState {
    std::mutex mutex;
    std::condition_variable cv;
    std::vector<AppEvent> events;
    unsigned barrier_sent = 0;
    unsigned barrier_seen = 0;
    std::vector<AppRequest> requests;
    int rpc_result = 0;
    std::vector<uint8_t> rpc_reply;
    int rpc_claimed_len = -1;
};

AppState &state()
{
    static AppState *s = new AppState;
    return *s;
}

// A copy of a device message: its identifier and data bytes.
AppEvent copy_message(const dev_msg_t *msg)
{
    dev_msg_t head;
    std::memcpy(&head, msg, sizeof head);
    const uint8_t *data = reinterpret_cast<const uint8_t *>(msg) + sizeof head;
    return {head.msg_id,
            std::vector<uint8_t>(data, data + (head.data_len > 0 ? head.data_len : 0))};
}

std::string hex_bytes(const std::vector<uint8_t> &d)
{
    std::string s;
    char buf[4];
    for (size_t i = 0; i < d.size(); ++i) {
        std::snprintf(buf, sizeof buf, "%s%02x", i ? " " : "", d[i]);
        s += buf;
    }
    return s;
}

}  // namespace

int app_event_handler(dev_msg_t *msg)
{
    if (msg == nullptr) {
        return -1;
    }
    AppEvent e = copy_message(msg);
    AppState &a = state();
    std::lock_guard<std::mutex> lock(a.mutex);
    if (e.msg_id == kBarrierMsgId && e.data.size() == sizeof a.barrier_seen) {
        std::memcpy(&a.barrier_seen, e.data.data(), sizeof a.barrier_seen);
        a.cv.notify_all();
        return 0;
    }
    a.events.push_back(std::move(e));
    return 0;
}

int app_rpc_handler(dev_msg_t *msg, void *ret_buf, int buf_len, int *ret_len)
{
    if (msg == nullptr || ret_buf == nullptr || ret_len == nullptr) {
        return -1;
    }
    AppEvent req = copy_message(msg);
    AppState &a = state();
    std::lock_guard<std::mutex> lock(a.mutex);
    size_t n = std::min(static_cast<size_t>(std::max(buf_len, 0)), a.rpc_reply.size());
    if (n > 0) {
        std::memcpy(ret_buf, a.rpc_reply.data(), n);
    }
    *ret_len = a.rpc_claimed_len >= 0 ? a.rpc_claimed_len : static_cast<int>(n);
    a.requests.push_back({req.msg_id, std::move(req.data), a.rpc_result, *ret_len});
    return a.rpc_result;
}

std::vector<AppEvent> app_take_events(int timeout_ms)
{
    AppState &a = state();
    unsigned seq;
    {
        std::lock_guard<std::mutex> lock(a.mutex);
        seq = ++a.barrier_sent;
    }
    struct {
        dev_msg_t head;
        unsigned seq;
    } barrier = {{kBarrierMsgId, static_cast<int32_t>(sizeof(unsigned))}, seq};
    // Queued like the library's own events, so it arrives after them.
    bool queued = dm_dev_event_notify(&barrier.head) == 0;
    std::unique_lock<std::mutex> lock(a.mutex);
    if (queued) {
        a.cv.wait_for(lock, std::chrono::milliseconds(timeout_ms),
                      [&a, seq] { return a.barrier_seen >= seq; });
    }
    std::vector<AppEvent> out;
    out.swap(a.events);
    return out;
}

void app_set_rpc_reply(int result, std::vector<uint8_t> reply, int claimed_len)
{
    AppState &a = state();
    std::lock_guard<std::mutex> lock(a.mutex);
    a.rpc_result = result;
    a.rpc_reply = std::move(reply);
    a.rpc_claimed_len = claimed_len;
}

std::string app_rpc_reply_text()
{
    AppState &a = state();
    std::lock_guard<std::mutex> lock(a.mutex);
    std::string s =
        "result " + std::to_string(a.rpc_result) + ", reply [" + hex_bytes(a.rpc_reply) + "]";
    if (a.rpc_claimed_len >= 0) {
        s += ", reported length " + std::to_string(a.rpc_claimed_len);
    }
    return s;
}

std::vector<AppRequest> app_take_requests()
{
    AppState &a = state();
    std::lock_guard<std::mutex> lock(a.mutex);
    std::vector<AppRequest> out;
    out.swap(a.requests);
    return out;
}

Result decode_event(int msg_id, const std::vector<uint8_t> &data)
{
    Result r;
    const auto raw = [&r, &data](bool is_short) {
        if (!data.empty() || is_short) {
            r.add_str("bytes", hex_bytes(data));
        }
        if (is_short) {
            r.add_int("short", 1, Fmt::Bool);
        }
    };
    switch (msg_id) {
    case DEV_MSG_CHIPIP_ALLOC:
        r.title = "DEV_MSG_CHIPIP_ALLOC";
        if (data.size() >= sizeof(dm_chipid_alloc_t)) {
            dm_chipid_alloc_t a;
            std::memcpy(&a, data.data(), sizeof a);
            r.add_int("chipid", a.chipid, Fmt::Dec);
            r.add_int("node", a.node, Fmt::Hex);
            r.add_int("unit", a.unit, Fmt::Dec);
            r.add_int("node_type", a.node_type, Fmt::NodeType);
        } else {
            raw(true);
        }
        break;
    case DEV_MSG_PORT_VALID:
        r.title = "DEV_MSG_PORT_VALID";
        if (data.size() >= sizeof(dm_port_valid_t)) {
            dm_port_valid_t v;
            std::memcpy(&v, data.data(), sizeof v);
            r.add_int("node", v.node, Fmt::Hex);
            r.add_int("lport", v.lport, Fmt::Dec);
            r.add_int("valid", v.valid, Fmt::Dec);
        } else {
            raw(true);
        }
        break;
    case DEV_MSG_FC_START_CFG_OVER:
    case DEV_MSG_FC_SAVE_CFG:
    case DEV_MSG_PRE_INST_PORT_SYNC_DONE:
        r.title = msg_id == DEV_MSG_FC_SAVE_CFG         ? "DEV_MSG_FC_SAVE_CFG"
                  : msg_id == DEV_MSG_FC_START_CFG_OVER ? "DEV_MSG_FC_START_CFG_OVER"
                                                        : "DEV_MSG_PRE_INST_PORT_SYNC_DONE";
        raw(false);
        break;
    default:
        r.title = "event " + std::to_string(msg_id);
        r.add_str("bytes", hex_bytes(data));
        break;
    }
    return r;
}

std::string describe_event(int msg_id, const std::vector<uint8_t> &data)
{
    Result r = decode_event(msg_id, data);
    std::string s = r.title;
    for (const Field &f : r.fields) {
        if (f.name == "bytes") {
            s.append(" [").append(f.str).append("]");
        } else if (f.name == "short") {
            s.append(" (short)");
        } else {
            s.append(" ").append(f.name).append("=").append(format_value(f));
        }
    }
    return s;
}

}  // namespace dmsim
