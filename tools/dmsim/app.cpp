// The application's event and RPC handlers.
#include "app.h"

#include <cstdio>
#include <cstring>

#include <dm_host.h>

#include "args.h"

namespace dmsim {

namespace {

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

void add_fields(Result *r, const dm_chipid_alloc_t &a)
{
    r->add_int("chipid", a.chipid, Fmt::Dec);
    r->add_int("node", a.node, Fmt::Hex);
    r->add_int("unit", a.unit, Fmt::Dec);
    r->add_int("node_type", a.node_type, Fmt::NodeType);
}

void add_fields(Result *r, const dm_port_valid_t &v)
{
    r->add_int("node", v.node, Fmt::Hex);
    r->add_int("lport", v.lport, Fmt::Dec);
    r->add_int("valid", v.valid, Fmt::Dec);
}

// The fields of an event's record, or its bytes marked short when the event
// carries less than a record.
template <class Rec>
void add_record(Result *r, const std::vector<uint8_t> &data)
{
    if (data.size() < sizeof(Rec)) {
        r->add_str("bytes", hex_bytes(data));
        r->add_int("short", 1, Fmt::Bool);
        return;
    }
    Rec rec;
    std::memcpy(&rec, data.data(), sizeof rec);
    add_fields(r, rec);
}

}  // namespace

std::string app_rpc_reply_text()
{
    const dmstandin::RpcReply r = dmstandin::app_rpc_reply();
    std::string s = "result " + std::to_string(r.result) + ", reply [" + hex_bytes(r.reply) + "]";
    if (r.claimed_len >= 0) {
        s += ", reported length " + std::to_string(r.claimed_len);
    }
    return s;
}

Result decode_event(int msg_id, const std::vector<uint8_t> &data)
{
    Result r;
    switch (msg_id) {
    case DEV_MSG_CHIPIP_ALLOC:
        r.title = "DEV_MSG_CHIPIP_ALLOC";
        add_record<dm_chipid_alloc_t>(&r, data);
        break;
    case DEV_MSG_PORT_VALID:
        r.title = "DEV_MSG_PORT_VALID";
        add_record<dm_port_valid_t>(&r, data);
        break;
    case DEV_MSG_FC_START_CFG_OVER:
    case DEV_MSG_FC_SAVE_CFG:
    case DEV_MSG_PRE_INST_PORT_SYNC_DONE:
        r.title = msg_id == DEV_MSG_FC_SAVE_CFG         ? "DEV_MSG_FC_SAVE_CFG"
                  : msg_id == DEV_MSG_FC_START_CFG_OVER ? "DEV_MSG_FC_START_CFG_OVER"
                                                        : "DEV_MSG_PRE_INST_PORT_SYNC_DONE";
        if (!data.empty()) {
            r.add_str("bytes", hex_bytes(data));
        }
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
