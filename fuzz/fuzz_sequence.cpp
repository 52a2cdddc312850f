// Fuzz target: a whole conversation with the library. The input decodes into
// a sequence of steps (every data message kind, chip-ID data, batch ends,
// show commands, port-validity requests, changes of the host's view of the
// chassis, raw messages and queries of every family); after each step the
// tables that step touched are checked, and at the end all of them:
//   - a record found under a key holds that key, and is the same record
//     under each of its other keys;
//   - counts agree with what the getters hand out, and the tables with what
//     was sent (a small model of each table whose contents follow from the
//     messages alone);
//   - arrays handed out are the caller's: scribbling over them and freeing
//     them leaves the table as it was.
// Keys come from small ranges, so that steps meet each other's records.
// Every input starts from the same state: the start-up step removes what the
// previous input left (the pre-installed card list, taken once per process,
// is the one thing that carries over, and its model with it).
#include <algorithm>
#include <cstdlib>
#include <vector>

#include "sequence.h"

namespace {

using dmfuzz::Reader;
using namespace dmseq;

// ---- the step encoding (fuzz/make_seeds.py writes the same) -----------------
enum Op : uint8_t {
    kAddPort,
    kSetIfx,
    kRmvPort,
    kCardCfg,
    kChipCfg,
    kMyLport,
    kPhyMgmt,
    kFcBegin,
    kFcChunk,
    kFcOver,
    kPreInst,
    kChipidData,
    kBatch,
    kShow,
    kRpc,
    kIdentity,
    kBsOver,
    kRaw,
    kQuery,
    kOpCount,
};

// ---- sending -------------------------------------------------------------------
template <class T>
void send(int msgid, const T &payload)
{
    dm_host_send_msg(msgid, &payload, static_cast<int>(sizeof payload));
}

void send_bytes(int msgid, const std::vector<uint8_t> &payload)
{
    dm_host_send_msg(msgid, payload.data(), static_cast<int>(payload.size()));
}

dp_lib_card_type_info_t default_card(int type)
{
    dp_lib_card_type_info_t c = {};
    c.card_type = type;
    for (int l = 0; l < DP_LIB_CARD_LPORT_MAX; ++l) {
        c.lport_unit[l] = -1;
        c.chip_port[l] = -1;
    }
    return c;
}

void send_chipid_release_all()
{
    std::vector<uint8_t> buf(sizeof(addr_lib_sync_head_t) + 64 * sizeof(chipid_slot_t));
    addr_lib_sync_head_t head = {static_cast<int32_t>(buf.size()), ADDR_LIB_BS_SYNC, 64};
    std::memcpy(buf.data(), &head, sizeof head);
    for (int g = 0; g < 64; ++g) {
        chipid_slot_t rec = {};
        rec.status = CHIPID_NONE;
        rec.gslot = g;
        std::memcpy(buf.data() + sizeof head + static_cast<size_t>(g) * sizeof rec, &rec,
                    sizeof rec);
    }
    dm_host_addr_data(buf.data(), static_cast<int>(buf.size()));
}

// Brings the library back to the state every input starts from.
void reset()
{
    dm_host_set_bs_over(false);
    dm_host_set_my_card(dm_node_make(1, 1), dm_get_gslot_from_lslot(1, 1, 0), 1, DM_TYPE_LC);
    for (int node : seen.nodes) {
        dm_host_remove_card(node);
    }
    for (int k = 0; k < 256; ++k) {
        const int32_t phyid = port_dm_phyid(k);
        send(DP_LIB_MSG_PORT_RMV, phyid);
    }
    m = model{};
    m.my_card_type = 1;
    for (int t = 0; t < 8; ++t) {
        m.cards[t] = default_card(t);
        send(DP_LIB_MSG_CARD_CFG, m.cards[t]);
    }
    for (int t = 0; t < 4; ++t) {
        m.chips[t] = dp_lib_chip_info_t{t, 0, 0, 0};
        send(DP_LIB_MSG_CHIP_CFG, m.chips[t]);
    }
    const int32_t zero = 0;
    send(DP_LIB_MSG_MY_LPORT_CFG, zero);
    for (int dev = 1; dev <= 2; ++dev) {
        for (int lport = 0; lport < 2; ++lport) {
            send(DP_LIB_MSG_PHY_MGMT_IFX, dp_lib_phy_mgmt_ifx_msg_t{dev, 0, lport, 0, {}});
        }
    }
    send(DP_LIB_MSG_FC_START_CFG_BEGIN, zero);
    send(DP_LIB_MSG_FC_SAVE_CFG_BEGIN, zero);
    send_chipid_release_all();
    seen = touched{};
    dmfuzz::set_rpc_answer(0, 0);
}

// ---- steps ---------------------------------------------------------------------------

dp_lib_port_split_info_t read_split(Reader &in, int base)
{
    dp_lib_port_split_info_t s = {};
    s.split_mode_num = in.u8() % 7;  // 5 and 6 claim more modes than there are
    s.def_split_mode = in.u8() % 5;
    for (int i = 0; i < DP_LIB_SPLIT_MODE_MAX; ++i) {
        s.split_mode_id[i] = static_cast<uint8_t>(i);
        s.split_mode_port_num[i] = in.u8() % 12;  // may add up to more than 32
    }
    for (int i = 0; i < DP_LIB_SPLIT_CHILD_MAX; ++i) {
        s.child_port_lport[i] = static_cast<uint8_t>((base + 1 + i) & 31);
    }
    return s;
}

void step_add_port(Reader &in)
{
    const int k = in.u8();
    const int variant = in.u8();
    const int ifxb = in.u8();
    const int flags = in.u8();
    dp_lib_port_t p = {};
    const int lport = variant & 31;
    p.ifx = ifxb & 31;
    p.phyid = port_dm_phyid(k);
    p.ss_phyid = dm_slot_lport_phyid(port_dev(k), port_slot(k), lport);
    p.node = dm_node_make(port_dev(k), port_slot(k));
    p.devid = port_dev(k);
    p.slotid = port_slot(k);
    p.portid = lport;
    p.l_chipid = port_unit(k);
    p.g_chipid = (flags & 1) != 0 ? 0 : 100 + k;
    p.chip_portid = port_cport(k);
    p.port_switch = static_cast<uint8_t>((flags >> 6) & 1);
    p.medium_type = (flags >> 4) % 3;
    p.type = (flags >> 1) & 7;
    p.poe_support = static_cast<uint8_t>(flags >> 7);
    p.lsm_key = variant >> 5;
    p.lsm_user_slot = port_slot(k);
    p.lsm_user_port = lport;
    p.subcard_node = p.phyid;
    p.split_info = read_split(in, lport);
    p.is_parent = p.split_info.split_mode_num != 0;
    send(DP_LIB_MSG_PORT_INFO, p);
    seen.ports.insert(k);
    seen.ss.insert(p.ss_phyid);
    check_ports();
}

void step_set_ifx(Reader &in)
{
    const int k = in.u8();
    const dp_lib_port_ifx_msg_t msg = {port_dm_phyid(k), in.u8() & 31};
    send(DP_LIB_MSG_PORT_IFX, msg);
    seen.ports.insert(k);
    check_ports();
}

void step_rmv_port(Reader &in)
{
    const int k = in.u8();
    const int32_t phyid = port_dm_phyid(k);
    send(DP_LIB_MSG_PORT_RMV, phyid);
    seen.ports.insert(k);
    check_ports();
}

void step_card_cfg(Reader &in)
{
    const int type = in.u8() & 7;
    dp_lib_card_type_info_t c = default_card(type);
    c.chip_num = in.i8();
    const int nports = in.u8();
    const int fill = in.u8();
    for (int u = 0; u < DP_LIB_CARD_UNIT_MAX; ++u) {
        c.chip_types[u] = in.u8() & 3;
        c.chip_cport_max[u] = 10 + u;
    }
    c.port_num = nports;
    c.poe_support = static_cast<uint8_t>(fill & 1);
    c.node_type = (fill >> 1) % 7;
    const int units = ((fill >> 4) & 7) + 1;
    for (int l = 0; l < DP_LIB_CARD_LPORT_MAX; ++l) {
        if (l < nports) {
            // Now and then a unit beyond the 8 a record describes.
            c.lport_unit[l] = static_cast<int8_t>((fill & 0x08) != 0 ? l % 12 : l % units);
            c.chip_port[l] = l % 16 + 1;
            c.lport_poe_support[l] = static_cast<uint8_t>(c.poe_support && l % 3 == 0);
        }
    }
    if ((fill & 0x80) != 0) {
        std::memset(c.name, 'N', sizeof c.name);  // no terminating zero at all
    } else {
        in.bytes(c.name, 8);
    }
    send(DP_LIB_MSG_CARD_CFG, c);
    m.cards[type] = c;
    check_cards();
}

void step_chip_cfg(Reader &in)
{
    const int type = in.u8() & 3;
    dp_lib_chip_info_t c = {type, in.i8(), in.i8(), in.i8()};
    send(DP_LIB_MSG_CHIP_CFG, c);
    m.chips[type] = c;
    check_chips();
}

void step_my_lport(Reader &in)
{
    const int n = in.i8() % 20;
    std::vector<uint8_t> payload(4);
    const int32_t n32 = n;
    std::memcpy(payload.data(), &n32, sizeof n32);
    std::vector<dp_lib_lport_t> recs;
    for (int i = 0; i < n; ++i) {
        const int keyb = in.u8();
        dp_lib_lport_t r = {};
        r.lport_phyid = keyb == 0 ? 0 : dm_lport_phyid_make((keyb >> 5) & 1, keyb & 15);
        r.lport = static_cast<uint8_t>(in.u8() & 31);
        const int med = in.u8();
        r.medium_type = static_cast<uint8_t>(med % 3);
        r.type = static_cast<uint8_t>((med >> 2) & 7);
        r.split_info = read_split(in, r.lport);
        r.is_parent = r.split_info.split_mode_num != 0;
        recs.push_back(r);
        const auto *b = reinterpret_cast<const uint8_t *>(&r);
        payload.insert(payload.end(), b, b + sizeof r);
    }
    send_bytes(DP_LIB_MSG_MY_LPORT_CFG, payload);
    // A negative count leaves the table empty.
    m.lports = n >= 0 ? recs : std::vector<dp_lib_lport_t>{};
    m.lports_known = true;
    check_lports();
}

void step_phy_mgmt(Reader &in)
{
    dp_lib_phy_mgmt_ifx_msg_t msg = {};
    msg.dev_id = in.u8() % 4;
    msg.ifx = in.u8() & 7;
    msg.lport = in.i8() % 3;
    msg.mgmt_mode = static_cast<uint8_t>(in.u8() % 3);
    send(DP_LIB_MSG_PHY_MGMT_IFX, msg);
    if (msg.dev_id >= 1 && msg.dev_id <= 2 && msg.lport >= 0 && msg.lport <= 1) {
        m.mgmt[msg.dev_id][msg.lport] = msg.ifx;
    }
    check_mgmt();
}

int fc_begin_num(int b)
{
    switch (b) {
    case 251:
        return -1;
    case 252:
        return kFcNumMax + 1;  // does not fit the signed size
    case 253:
        return INT32_MIN;
    default:
        return b % 17;
    }
}

void step_fc_begin(Reader &in)
{
    const int list = in.u8() & 1;
    const int32_t num = fc_begin_num(in.u8());
    send(list == 0 ? DP_LIB_MSG_FC_START_CFG_BEGIN : DP_LIB_MSG_FC_SAVE_CFG_BEGIN, num);
    fc_model &f = m.fc[static_cast<size_t>(list)];
    if (num >= 0 && num <= kFcNumMax) {
        f = fc_model{};
        f.staging.assign(static_cast<size_t>(num), dm_convert_cfg_t{0, 0});
    }
    check_fc();
}

void step_fc_chunk(Reader &in)
{
    const int flags = in.u8();
    const int list = flags & 1;
    const dp_lib_fc_cfg_info_t head = {in.i8(), in.i8()};
    const int count = std::clamp(head.cfg_max - head.cfg_min + 1, 0, 16);
    std::vector<dm_convert_cfg_t> entries;
    for (int i = 0; i < count; ++i) {
        entries.push_back({0x06010100 | in.u8(), in.u8() % 12});
    }
    // Now and then a chunk one entry short of its range: refused unread.
    const bool short_chunk = (flags & 2) != 0 && !entries.empty();
    std::vector<uint8_t> payload(sizeof head);
    std::memcpy(payload.data(), &head, sizeof head);
    const size_t sent = entries.size() - (short_chunk ? 1 : 0);
    const auto *b = reinterpret_cast<const uint8_t *>(entries.data());
    payload.insert(payload.end(), b, b + sent * sizeof(dm_convert_cfg_t));
    send_bytes(list == 0 ? DP_LIB_MSG_FC_START_CFG : DP_LIB_MSG_FC_SAVE_CFG, payload);

    fc_model &f = m.fc[static_cast<size_t>(list)];
    const bool range_ok = head.cfg_min >= 0 && head.cfg_min <= head.cfg_max &&
                          head.cfg_max < static_cast<int>(f.staging.size());
    const bool whole = !short_chunk && head.cfg_min <= head.cfg_max &&
                       static_cast<size_t>(head.cfg_max - head.cfg_min + 1) <= sent;
    if (!f.over && range_ok && whole) {
        std::copy(entries.begin(), entries.begin() + (head.cfg_max - head.cfg_min + 1),
                  f.staging.begin() + head.cfg_min);
    }
    check_fc();
}

void step_fc_over(Reader &in)
{
    const int list = in.u8() & 1;
    dm_host_send_msg(list == 0 ? DP_LIB_MSG_FC_START_CFG_OVER : DP_LIB_MSG_FC_SAVE_CFG_OVER,
                     nullptr, 0);
    fc_model &f = m.fc[static_cast<size_t>(list)];
    f.committed = f.staging;
    f.over = true;
    check_fc();
}

void step_pre_inst(Reader &in)
{
    dp_lib_per_inst_info_t msg = {};
    msg.len = in.i16() % 300;
    const int cnt = in.u8() % 9;
    for (int i = 0; i < cnt; ++i) {
        msg.info[i].dev = static_cast<uint8_t>(in.u8() & 3);
        msg.info[i].slot = static_cast<uint8_t>(in.u8() & 7);
        msg.info[i].sslot = msg.info[i].slot;
    }
    send(DP_LIB_MSG_PORT_PRE_INST_DONE, msg);
    if (!pre_inst.taken) {
        pre_inst.taken = true;
        const int n = std::clamp(msg.len, 0, DP_LIB_PER_INST_MAX);
        pre_inst.list.assign(msg.info, msg.info + n);
    }
    check_pre_inst();
}

// The slots of the ports' cards first (gslots 1..4 and 33..36), then the
// edges of the table: slot 0, 63, and 64 and 65, which are refused.
int chipid_gslot(int b)
{
    static const int gslots[] = {0, 1, 2, 3, 4, 33, 34, 35, 36, 63, 64, 65};
    return gslots[b % 12];
}

void step_chipid_data(Reader &in)
{
    const int type = in.u8();
    const int numb = in.u8();
    const int len_mode = in.u8() % 4;
    const int data_num = numb == 255 ? 65 : numb == 254 ? -1 : numb % 5;
    const int present = std::clamp(data_num, 0, 4) - (len_mode == 2 && data_num > 0 ? 1 : 0);
    std::vector<uint8_t> buf(sizeof(addr_lib_sync_head_t) +
                             static_cast<size_t>(present) * sizeof(chipid_slot_t));
    for (int i = 0; i < present; ++i) {
        chipid_slot_t rec = {};
        rec.status = in.u8() % 4;
        rec.gslot = chipid_gslot(in.u8());
        rec.card_type = in.u8();
        rec.idnum_per_unit = static_cast<uint16_t>(in.u8() % 5);
        rec.id_num = static_cast<uint16_t>(in.u8() % 18);
        const int base = in.u8() * 8;
        const int step = in.u8();
        for (int j = 0; j < CHIPID_SLOT_ID_MAX; ++j) {
            rec.id[j] =
                static_cast<uint16_t>(base + j * (step % 4) + ((step & 0x80) != 0 ? 2040 : 0));
        }
        std::memcpy(buf.data() + sizeof(addr_lib_sync_head_t) + static_cast<size_t>(i) * sizeof rec,
                    &rec, sizeof rec);
        seen.gslots.insert(rec.gslot);
    }
    addr_lib_sync_head_t head = {static_cast<int32_t>(buf.size()),
                                 type < 200 ? type % 2 : type - 200, data_num};
    if (len_mode == 1) {
        head.len += 4;  // disagrees with what is delivered
    }
    std::memcpy(buf.data(), &head, sizeof head);
    dm_host_addr_data(buf.data(), static_cast<int>(buf.size()));
    if (len_mode == 3) {
        dm_host_addr_data(buf.data(), 8);  // shorter than the header itself
    }
    check_chipids();
}

void step_show(Reader &in)
{
    static const int paras[] = {6, 9, 10, 11, 12, 13};
    dm_host_show(paras[in.u8() % 6]);
}

void step_rpc(Reader &in)
{
    const int node = dm_node_make(in.u8() & 3, in.u8() & 31);
    const int lport = in.u8();
    const int valid = in.u8() & 1;
    const int control = in.u8();
    dmfuzz::set_rpc_answer((control & 0x80) != 0 ? -1 : 0,
                           static_cast<int>(control & 0x7F) * 2 - 4);
    struct {
        dp_lib_msg_h_t head;
        dm_port_valid_t req;
        uint8_t spare[128];
    } msg = {};
    const bool short_req = (control & 0x40) != 0;
    msg.head = {0, DP_LIB_MSG_PORT_VALID, DP_LIB_MOD_PD, short_req ? 8 : 12};
    msg.req.node = node;
    msg.req.lport = lport;
    msg.req.valid = static_cast<uint8_t>(valid);
    int ack = -1;
    dm_host_send_rpc(&msg, static_cast<int>(sizeof msg.head) + msg.head.len, &ack);
    if (ack != -1) {
        DM_FUZZ_CHECK(!short_req && ack >= 4 && ack <= 28, ack);
    }
}

// The slots of the ports' cards, slot 0, and the management-board slots.
int identity_slot(int b)
{
    static const int slots[] = {0, 1, 2, 3, 4, 30, 31};
    return slots[b % 7];
}

void step_identity(Reader &in)
{
    const int dev = in.u8() & 3;
    const int slot = identity_slot(in.u8());
    const int type = in.u8() & 7;
    const int node_type = in.u8() % 7;
    const int which = in.u8();
    const int node = dm_node_make(dev, slot);
    if ((which & 1) != 0) {
        dm_host_set_my_card(node, dm_get_gslot_from_lslot(dev, slot, 0), type, node_type);
        m.my_card_type = type;
    } else {
        dm_host_set_card(node, (which & 2) != 0 ? -1 : type, type, node_type);
        seen.nodes.insert(node);
    }
}

// A message as raw bytes: any identifier, module and length. One that the
// dispatcher accepts may change a table this target models; that model is
// then left unchecked until a step of its own makes it known again.
void step_raw(Reader &in)
{
    const int msgid = in.u8() % 18;
    const int module = in.u8() % 4 == 0 ? 0 : 1;
    const int delta = in.i8();
    const int n = in.u8() % 64;
    std::vector<uint8_t> buf(16 + static_cast<size_t>(n));
    in.bytes(buf.data() + 16, static_cast<size_t>(n));
    const int len = (delta & 3) == 0 ? n + (delta >> 2) : n;
    const dp_lib_msg_h_t head = {0, msgid, module, len};
    std::memcpy(buf.data(), &head, sizeof head);
    if (dmfuzz::is_large_list_begin(buf.data(), buf.size())) {
        return;
    }
    dm_host_send_data(buf.data(), static_cast<int>(buf.size()));
    switch (msgid) {
    case DP_LIB_MSG_CHIP_CFG:
        m.chips_known = false;
        break;
    case DP_LIB_MSG_MY_LPORT_CFG:
        m.lports_known = false;
        break;
    case DP_LIB_MSG_PHY_MGMT_IFX:
        m.mgmt_known = false;
        break;
    case DP_LIB_MSG_FC_START_CFG_BEGIN:
    case DP_LIB_MSG_FC_START_CFG:
    case DP_LIB_MSG_FC_START_CFG_OVER:
        m.fc[0].known = false;
        break;
    case DP_LIB_MSG_FC_SAVE_CFG_BEGIN:
    case DP_LIB_MSG_FC_SAVE_CFG:
    case DP_LIB_MSG_FC_SAVE_CFG_OVER:
        m.fc[1].known = false;
        break;
    default:
        break;
    }
}
void run_step(Op op, Reader &in)
{
    switch (op) {
    case kAddPort:
        step_add_port(in);
        break;
    case kSetIfx:
        step_set_ifx(in);
        break;
    case kRmvPort:
        step_rmv_port(in);
        break;
    case kCardCfg:
        step_card_cfg(in);
        break;
    case kChipCfg:
        step_chip_cfg(in);
        break;
    case kMyLport:
        step_my_lport(in);
        break;
    case kPhyMgmt:
        step_phy_mgmt(in);
        break;
    case kFcBegin:
        step_fc_begin(in);
        break;
    case kFcChunk:
        step_fc_chunk(in);
        break;
    case kFcOver:
        step_fc_over(in);
        break;
    case kPreInst:
        step_pre_inst(in);
        break;
    case kChipidData:
        step_chipid_data(in);
        break;
    case kBatch:
        dm_host_batch(in.u8() % 3);
        break;
    case kShow:
        step_show(in);
        break;
    case kRpc:
        step_rpc(in);
        break;
    case kIdentity:
        step_identity(in);
        check_cards();
        break;
    case kBsOver:
        dm_host_set_bs_over((in.u8() & 1) != 0);
        break;
    case kRaw:
        step_raw(in);
        break;
    case kQuery:
        step_query(in);
        break;
    default:
        break;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    dmfuzz::start();
    if (size > 4096) {
        return 0;
    }
    reset();
    Reader in(data, size);
    while (!in.empty()) {
        run_step(static_cast<Op>(in.u8() % kOpCount), in);
    }
    check_all();
    dmfuzz::trim_host_records();
    return 0;
}
