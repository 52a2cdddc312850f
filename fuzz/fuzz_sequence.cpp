// Fuzz target: a whole conversation with the library. The input decodes into
// a sequence of steps (the table-changing data messages, chip-ID data, batch
// ends, show commands, changes of the host's view of the chassis and queries
// of every family; the single-message targets cover the rest); after each step the
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
// previous input left.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdlib>
#include <vector>

#include "dm_standin.h"
#include "sequence.h"

namespace {

using dmfuzz::Reader;
using namespace dmseq;

constexpr int kFcNumMax = 268435455;

using dmstandin::append;
using dmstandin::send;
using dmstandin::send_bytes;

// Brings the library back to the state every input starts from.
void reset()
{
    dm_host_set_bs_over(false);
    dm_host_set_my_card(dm_node_make(1, 1), dm_get_gslot_from_lslot(1, 1, 0), 1, DM_TYPE_LC);
    for (int node : seen.nodes) {
        dm_host_remove_card(node);
    }
    for (int k = 0; k < 256; ++k) {
        send(DP_LIB_MSG_PORT_RMV, static_cast<int32_t>(port_dm_phyid(k)));
    }
    m = model{};
    m.my_card_type = 1;
    for (int t = 0; t < 8; ++t) {
        send(DP_LIB_MSG_CARD_CFG, m.cards[t] = dmstandin::card_type_record(t));
    }
    for (int t = 0; t < 4; ++t) {
        send(DP_LIB_MSG_CHIP_CFG, m.chips[t] = dp_lib_chip_info_t{t, 0, 0, 0});
    }
    const int32_t zero = 0;
    for (int msgid :
         {DP_LIB_MSG_MY_LPORT_CFG, DP_LIB_MSG_FC_START_CFG_BEGIN, DP_LIB_MSG_FC_SAVE_CFG_BEGIN}) {
        send(msgid, zero);
    }
    // Batch chip-ID data releasing every slot.
    std::vector<chipid_slot_t> none(64);
    for (int g = 0; g < 64; ++g) {
        none[static_cast<size_t>(g)].status = CHIPID_NONE;
        none[static_cast<size_t>(g)].gslot = g;
    }
    const std::vector<uint8_t> buf = dmstandin::addr_sync(ADDR_LIB_BS_SYNC, none);
    dm_host_addr_data(buf.data(), static_cast<int>(buf.size()));
    seen = touched{};
}

// ---- steps: each reads its fields from the input, sends, updates the models and
// checks what it touched ----------------------------------------------------

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
    const int lport = variant & 31;
    dp_lib_port_t p =
        dmstandin::port_record(port_dev(k), port_slot(k), port_unit(k), port_cport(k), lport);
    p.ifx = ifxb & 31;
    p.g_chipid = (flags & 1) != 0 ? 0 : 100 + k;
    p.port_switch = static_cast<uint8_t>((flags >> 6) & 1);
    p.medium_type = (flags >> 4) % 3;
    p.type = (flags >> 1) & 7;
    p.poe_support = static_cast<uint8_t>(flags >> 7);
    p.lsm_key = variant >> 5;
    p.lsm_user_slot = port_slot(k);
    p.lsm_user_port = lport;
    p.subcard_node = p.phyid;  // the key the checks find it by
    p.split_info = read_split(in, lport);
    p.is_parent = p.split_info.split_mode_num != 0;
    send(DP_LIB_MSG_PORT_INFO, p);
    seen.ports.insert(k);
    seen.ss.insert(p.ss_phyid);
}

void step_set_ifx(Reader &in)
{
    const int k = in.u8();
    send(DP_LIB_MSG_PORT_IFX, dp_lib_port_ifx_msg_t{port_dm_phyid(k), in.u8() & 31});
    seen.ports.insert(k);
}

void step_rmv_port(Reader &in)
{
    const int k = in.u8();
    send(DP_LIB_MSG_PORT_RMV, static_cast<int32_t>(port_dm_phyid(k)));
    seen.ports.insert(k);
}

void step_card_cfg(Reader &in)
{
    const int type = in.u8() & 7;
    dp_lib_card_type_info_t c = dmstandin::card_type_record(type);
    c.chip_num = in.i8();
    c.port_num = in.u8();
    const int fill = in.u8();
    for (int u = 0; u < DP_LIB_CARD_UNIT_MAX; ++u) {
        c.chip_types[u] = in.u8() & 3;
        c.chip_cport_max[u] = 10 + u;
    }
    c.poe_support = static_cast<uint8_t>(fill & 1);
    c.node_type = (fill >> 1) % 7;
    const int units = ((fill >> 4) & 7) + 1;
    for (int l = 0; l < std::min(c.port_num, DP_LIB_CARD_LPORT_MAX); ++l) {
        // Now and then a unit beyond the 8 a record describes.
        c.lport_unit[l] = static_cast<int8_t>((fill & 0x08) != 0 ? l % 12 : l % units);
        c.chip_port[l] = l % 16 + 1;
        c.lport_poe_support[l] = static_cast<uint8_t>(c.poe_support && l % 3 == 0);
    }
    if ((fill & 0x80) != 0) {
        std::memset(c.name, 'N', sizeof c.name);  // no terminating zero at all
    } else {
        in.bytes(c.name, 8);
    }
    send(DP_LIB_MSG_CARD_CFG, c);
    if (c.chip_num <= DP_LIB_CARD_UNIT_MAX) {  // a record claiming more chips is refused
        m.cards[type] = c;
    }
}

void step_chip_cfg(Reader &in)
{
    const int type = in.u8() & 3;
    send(DP_LIB_MSG_CHIP_CFG, m.chips[type] = dp_lib_chip_info_t{type, in.i8(), in.i8(), in.i8()});
}

void step_my_lport(Reader &in)
{
    const int32_t n = in.i8() % 20;
    std::vector<dp_lib_lport_t> recs;
    for (int i = 0; i < n; ++i) {
        const int keyb = in.u8();
        dp_lib_lport_t &r = recs.emplace_back();
        r.lport_phyid = keyb == 0 ? 0 : dm_lport_phyid_make((keyb >> 5) & 1, keyb & 15);
        r.lport = static_cast<uint8_t>(in.u8() & 31);
        const int med = in.u8();
        r.medium_type = static_cast<uint8_t>(med % 3);
        r.type = static_cast<uint8_t>((med >> 2) & 7);
        r.split_info = read_split(in, r.lport);
        r.is_parent = r.split_info.split_mode_num != 0;
    }
    send_bytes(DP_LIB_MSG_MY_LPORT_CFG, dmstandin::lport_payload(recs, n));
    m.lports = recs;  // a negative count leaves the table empty, as no records do
}

// The list a port-conversion step names, and its model.
int fc_msg(int list, int start_msg) { return start_msg + 3 * list; }

void step_fc_begin(Reader &in)
{
    const int list = in.u8() & 1;
    const int b = in.u8();
    // The edges: -1, one beyond what fits the signed size, the lowest.
    const int32_t num = b == 251 ? -1 : b == 252 ? kFcNumMax + 1 : b == 253 ? INT32_MIN : b % 17;
    send(fc_msg(list, DP_LIB_MSG_FC_START_CFG_BEGIN), num);
    if (num >= 0 && num <= kFcNumMax) {
        m.fc[static_cast<size_t>(list)] = fc_model{std::vector<dm_convert_cfg_t>(num), {}, false};
    }
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
    std::vector<uint8_t> payload = dmstandin::fc_chunk(head.cfg_min, head.cfg_max, entries);
    payload.resize(payload.size() - (short_chunk ? sizeof(dm_convert_cfg_t) : 0));
    send_bytes(fc_msg(list, DP_LIB_MSG_FC_START_CFG), payload);

    fc_model &f = m.fc[static_cast<size_t>(list)];
    const bool range_ok = head.cfg_min >= 0 && head.cfg_min <= head.cfg_max &&
                          head.cfg_max < static_cast<int>(f.staging.size());
    if (!f.over && range_ok && !short_chunk && head.cfg_max - head.cfg_min + 1 == count) {
        std::copy(entries.begin(), entries.end(), f.staging.begin() + head.cfg_min);
    }
}

void step_fc_over(Reader &in)
{
    const int list = in.u8() & 1;
    dm_host_send_msg(fc_msg(list, DP_LIB_MSG_FC_START_CFG_OVER), nullptr, 0);
    fc_model &f = m.fc[static_cast<size_t>(list)];
    f.committed = f.staging;
    f.over = true;
}

void step_chipid_data(Reader &in)
{
    // The slots of the ports' cards first (gslots 1..4 and 33..36), then the
    // edges of the table: slot 0, 63, and 64 and 65, which are refused.
    static const int gslots[] = {0, 1, 2, 3, 4, 33, 34, 35, 36, 63, 64, 65};
    const int type = in.u8();
    const int numb = in.u8();
    const int len_mode = in.u8() % 4;
    const int data_num = numb == 255 ? 65 : numb == 254 ? -1 : numb % 5;
    const int present = std::clamp(data_num, 0, 4) - (len_mode == 2 && data_num > 0 ? 1 : 0);
    std::vector<chipid_slot_t> recs(static_cast<size_t>(present));
    for (chipid_slot_t &rec : recs) {
        rec.status = in.u8() % 4;
        rec.gslot = gslots[in.u8() % 12];
        rec.card_type = in.u8();
        rec.idnum_per_unit = static_cast<uint16_t>(in.u8() % 5);
        rec.id_num = static_cast<uint16_t>(in.u8() % 18);
        const int base = in.u8() * 8;
        const int step = in.u8();
        for (int j = 0; j < CHIPID_SLOT_ID_MAX; ++j) {
            rec.id[j] =
                static_cast<uint16_t>(base + j * (step % 4) + ((step & 0x80) != 0 ? 2040 : 0));
        }
        seen.gslots.insert(rec.gslot);
    }
    addr_lib_sync_head_t head = {
        static_cast<int32_t>(sizeof head + recs.size() * sizeof(chipid_slot_t)),
        type < 200 ? type % 2 : type - 200, data_num};
    const int32_t delivered = head.len;
    head.len += len_mode == 1 ? 4 : 0;  // disagrees with what is delivered
    std::vector<uint8_t> buf = dmstandin::bytes_of(head);
    append(buf, recs.data(), recs.size() * sizeof(chipid_slot_t));
    dm_host_addr_data(buf.data(), delivered);
    if (len_mode == 3) {
        // Cut anywhere: inside the header or inside a record.
        dm_host_addr_data(buf.data(), in.u8() % delivered);
    }
}

void step_identity(Reader &in)
{
    // The slots of the ports' cards, slot 0, and the management-board slots.
    static const int slots[] = {0, 1, 2, 3, 4, 30, 31};
    const int dev = in.u8() & 3;
    const int slot = slots[in.u8() % 7];
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

// The steps in the order of their codes, and the check each is followed by.
struct step_kind {
    void (*run)(Reader &);
    void (*check)();
};
const step_kind kSteps[] = {
    {step_add_port, check_ports},
    {step_set_ifx, check_ports},
    {step_rmv_port, check_ports},
    {step_card_cfg, check_cards},
    {step_chip_cfg, check_chips},
    {step_my_lport, check_lports},
    {step_fc_begin, check_fc},
    {step_fc_chunk, check_fc},
    {step_fc_over, check_fc},
    {step_chipid_data, check_chipids},
    {[](Reader &in) { dm_host_batch(in.u8() % 3); }, nullptr},
    {[](Reader &in) {
         dm_host_show(std::array{6, 9, 10, 11, 12, 13}[in.u8() % 6]);
     },
     nullptr},
    {step_identity, check_cards},
    {[](Reader &in) { dm_host_set_bs_over((in.u8() & 1) != 0); }, nullptr},
    {step_query, nullptr},
};

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
        const step_kind &s = kSteps[in.u8() % std::size(kSteps)];
        s.run(in);
        if (s.check != nullptr) {
            s.check();
        }
    }
    check_all();
    dmfuzz::trim_host_records();
    return 0;
}
