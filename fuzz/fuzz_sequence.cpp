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
#include <array>
#include <cstdlib>
#include <map>
#include <set>
#include <vector>

#include "fuzz_common.h"

namespace {

using dmfuzz::Reader;

constexpr int kChipidNum = 2048;
constexpr int kFcNumMax = 268435455;

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

// Port key k (one byte): device, slot, unit and chip port.
int port_dev(int k) { return 1 + ((k >> 7) & 1); }
int port_slot(int k) { return 1 + ((k >> 5) & 3); }
int port_unit(int k) { return (k >> 4) & 1; }
int port_cport(int k) { return k & 15; }
int port_dm_phyid(int k) { return dm_phyid_make(port_dev(k), port_slot(k), port_unit(k), port_cport(k)); }
int port_unit_phyid(int k)
{
    return dm_unit_port_phyid(port_dev(k), port_slot(k), port_unit(k), port_cport(k));
}

// ---- models of the tables whose contents follow from the messages ----------
struct fc_model {
    std::vector<dm_convert_cfg_t> staging;
    std::vector<dm_convert_cfg_t> committed;
    bool over = false;
    bool known = true;  // false after a raw message this model cannot follow
};

struct model {
    std::map<int, dp_lib_card_type_info_t> cards;
    std::map<int, dp_lib_chip_info_t> chips;
    std::vector<dp_lib_lport_t> lports;
    bool lports_known = true;
    IFINDEX mgmt[3][2] = {};
    bool mgmt_known = true;
    std::array<fc_model, 2> fc;
    bool chips_known = true;
    int my_card_type = 0;
};

model m;

// The pre-installed list is taken once per process; its model lives as long.
struct pre_inst_model {
    bool taken = false;
    std::vector<dm_per_inst_card_info_t> list;
} pre_inst;

// Keys the current input touched, for the per-step and final checks.
struct touched {
    std::set<int> ports;   // port keys
    std::set<int> ss;      // slot_lport_phyids
    std::set<int> gslots;  // chip-ID slots
    std::set<int> nodes;   // nodes the host was told about
} seen;

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
        std::memcpy(buf.data() + sizeof head + static_cast<size_t>(g) * sizeof rec, &rec, sizeof rec);
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

// ---- checks ------------------------------------------------------------------------

// The record under a port's dm_phyid holds that key (the generator stores
// it in subcard_node) and the identifiers built from it.
void check_port(int k)
{
    const int unit_phyid = port_unit_phyid(k);
    int sub = -7;
    const int r = dm_get_subcard_node_by_phyid(unit_phyid, &sub);
    if (r != 0) {
        DM_FUZZ_CHECK(sub == -7, k);
        return;
    }
    DM_FUZZ_CHECK(sub == port_dm_phyid(k), k, sub);
    int unit = -1;
    int port = -1;
    DM_FUZZ_CHECK(dm_get_unit_port_from_phyid(unit_phyid, &unit, &port) == 0, k);
    DM_FUZZ_CHECK(unit == port_unit(k) && port == port_cport(k), unit, port);
    int node = -1;
    int lport = -1;
    DM_FUZZ_CHECK(dm_get_node_lport_from_phyid(unit_phyid, &node, &lport) == 0, k);
    DM_FUZZ_CHECK(node == dm_node_make(port_dev(k), port_slot(k)), node);
    DM_FUZZ_CHECK(lport >= 0 && lport < 32, lport);
}

// The record under a slot_lport_phyid holds it, and is the record its own
// dm_phyid leads to.
void check_ss(int ss)
{
    int node = -1;
    int lport = -1;
    if (dm_get_node_lport_from_phyid(ss, &node, &lport) != 0) {
        DM_FUZZ_CHECK(node == -1 && lport == -1, ss);
        return;
    }
    DM_FUZZ_CHECK(dm_slot_lport_phyid_from_node(node, lport) == ss, ss, lport);
    int dm_phyid = 0;
    DM_FUZZ_CHECK(dm_get_subcard_node_by_phyid(ss, &dm_phyid) == 0, ss);
    const int unit_phyid = dm_unit_port_phyid((dm_phyid >> 24) & 0x3F, (dm_phyid >> 12) & 0x3F,
                                              (dm_phyid >> 9) & 7, dm_phyid & 0x1FF);
    int node2 = -1;
    int lport2 = -1;
    DM_FUZZ_CHECK(dm_get_node_lport_from_phyid(unit_phyid, &node2, &lport2) == 0, ss, dm_phyid);
    DM_FUZZ_CHECK(node2 == node && lport2 == lport, lport, lport2);
}

// The record under an interface index holds it, and its dm_phyid leads to
// the same record.
void check_ifx(int ifx)
{
    dm_port_t p;
    std::memset(&p, 0x5A, sizeof p);
    dm_get_pinfo_by_ifx(ifx, &p);
    if (p.ifx == 0x5A5A5A5A) {
        return;
    }
    DM_FUZZ_CHECK(p.ifx == ifx, ifx, p.ifx);
    const int unit_phyid = dm_unit_port_phyid(p.devid, p.slotid, p.l_chipid, p.chip_portid);
    dm_port_t q;
    std::memset(&q, 0x5A, sizeof q);
    dm_get_pinfo_by_phyid(unit_phyid, &q);
    DM_FUZZ_CHECK(q.ifx == ifx && q.phyid == p.phyid, q.ifx, q.phyid);
}

void check_ports()
{
    for (int k : seen.ports) {
        check_port(k);
    }
    for (int ss : seen.ss) {
        check_ss(ss);
    }
    for (int ifx = 1; ifx < 32; ++ifx) {
        check_ifx(ifx);
    }
}

// A getter's array is the caller's: scribbled over and freed, the next copy
// is unchanged.
template <class T>
void scribble_and_free(T *arr, size_t n)
{
    if (arr != nullptr) {
        std::memset(static_cast<void *>(arr), 0xEE, n * sizeof(T));
    }
    std::free(arr);
}

void check_cards()
{
    for (const auto &[type, want] : m.cards) {
        dp_lib_card_type_info_t got;
        DM_FUZZ_CHECK(dm_lib_get_card_cfg_by_type(type, &got) == 0, type);
        DM_FUZZ_CHECK(std::memcmp(&got, &want, sizeof got) == 0, type);
        DM_FUZZ_CHECK(dm_get_card_port_num_by_type(type) == want.port_num, type);
        DM_FUZZ_CHECK(dm_get_switch_chip_num_by_card_type(type) == want.chip_num, type);
        for (int round = 0; round < 2; ++round) {
            int *types = nullptr;
            int num = -100;
            DM_FUZZ_CHECK(dm_get_chip_type_by_card_type(type, &types, &num) == 0, type);
            DM_FUZZ_CHECK(num <= DP_LIB_CARD_UNIT_MAX, num);
            if (want.chip_num >= 0 && want.chip_num <= DP_LIB_CARD_UNIT_MAX) {
                DM_FUZZ_CHECK(num == want.chip_num, num, want.chip_num);
            }
            DM_FUZZ_CHECK(std::memcmp(types, want.chip_types, sizeof want.chip_types) == 0, type);
            scribble_and_free(types, DP_LIB_CARD_UNIT_MAX);
        }
        char name[40];
        for (int len : {1, 5, 32, 33, 40}) {
            std::memset(name, 'x', sizeof name);
            DM_FUZZ_CHECK(dm_get_card_name_by_type(type, name, len) == 0, type, len);
            const size_t n = strnlen(name, static_cast<size_t>(len));
            DM_FUZZ_CHECK(n < static_cast<size_t>(len) && n < sizeof want.name, n, len);
            DM_FUZZ_CHECK(std::memcmp(name, want.name, n) == 0, type);
        }
    }
    // This card's own chip list follows its card type.
    int *units = nullptr;
    const int n = dm_get_my_lchips(&units);
    DM_FUZZ_CHECK(n <= DP_LIB_CARD_UNIT_MAX, n);
    if (n >= 0) {
        const dp_lib_card_type_info_t &mine = m.cards.at(m.my_card_type);
        DM_FUZZ_CHECK(std::memcmp(units, mine.chip_types, sizeof mine.chip_types) == 0, n);
    }
    scribble_and_free(units, DP_LIB_CARD_UNIT_MAX);
}

void check_chips()
{
    if (!m.chips_known) {
        return;
    }
    for (const auto &[type, want] : m.chips) {
        if (want.chip_family != -1) {
            DM_FUZZ_CHECK(dm_get_chip_family(type) == want.chip_family, type);
        }
        if (want.cmic_port != -1) {
            DM_FUZZ_CHECK(dm_get_chip_cmic_port_by_type(type) == want.cmic_port, type);
        }
    }
}

// The local port table: its count, and under every key the first record of
// the list that has it.
void check_lports()
{
    if (!m.lports_known) {
        return;
    }
    DM_FUZZ_CHECK(dm_get_my_lport_num() == static_cast<int>(m.lports.size()), dm_get_my_lport_num());
    for (int unit = 0; unit < 2; ++unit) {
        for (int port = 0; port < 16; ++port) {
            const int key = dm_lport_phyid_make(unit, port);
            if (key == 0) {
                continue;  // a record without a chip port is never indexed
            }
            const dp_lib_lport_t *want = nullptr;
            for (const dp_lib_lport_t &rec : m.lports) {
                if (rec.lport_phyid == key) {
                    want = &rec;
                    break;
                }
            }
            dp_lib_lport_t got;
            const int r = dm_local_get_pinfo_by_lport_phyid(key, &got);
            DM_FUZZ_CHECK((r == 0) == (want != nullptr), key, r);
            if (want != nullptr) {
                DM_FUZZ_CHECK(std::memcmp(&got, want, sizeof got) == 0, key);
            }
        }
    }
}

void check_fc()
{
    for (int list = 0; list < 2; ++list) {
        const fc_model &f = m.fc[static_cast<size_t>(list)];
        if (!f.known) {
            continue;
        }
        for (int round = 0; round < 2; ++round) {
            dm_convert_cfg_t *cfg = nullptr;
            int num = -1;
            const int r = list == 0 ? dm_get_fc_startup_cfg(&cfg, &num) : dm_get_fc_save_cfg(&cfg, &num);
            DM_FUZZ_CHECK(r == 0, list, r);
            DM_FUZZ_CHECK(num == static_cast<int>(f.committed.size()), num, f.committed.size());
            DM_FUZZ_CHECK((cfg == nullptr) == (num == 0), num);
            if (num > 0) {
                DM_FUZZ_CHECK(std::memcmp(cfg, f.committed.data(), f.committed.size() * sizeof *cfg) == 0, num);
            }
            scribble_and_free(cfg, static_cast<size_t>(num));
        }
    }
}

// Device, then port: the first port of a device wins, device 2 over device 1.
bool mgmt_expect(IFINDEX ifx, int *dev, int *lport)
{
    bool found = false;
    for (int d = 1; d <= 2; ++d) {
        for (int l = 0; l < 2; ++l) {
            if (m.mgmt[d][l] == ifx) {
                *dev = d;
                *lport = l;
                found = true;
                break;
            }
        }
    }
    return found;
}

void check_mgmt()
{
    if (!m.mgmt_known) {
        return;
    }
    for (IFINDEX ifx = 1; ifx < 8; ++ifx) {
        int want_dev = -1;
        int want_lport = -1;
        const bool known = mgmt_expect(ifx, &want_dev, &want_lport);
        int dev = -1;
        int lport = -1;
        const int r = dm_get_devid_lport_from_phy_mgmt_ifx(ifx, &dev, &lport);
        DM_FUZZ_CHECK((r == 0) == known, static_cast<int>(ifx), r);
        if (known) {
            DM_FUZZ_CHECK(dev == want_dev && lport == want_lport, dev, lport);
        }
        DM_FUZZ_CHECK(dm_get_devid_from_phy_mgmt_ifx(ifx) == (known ? want_dev : -1), static_cast<int>(ifx));
        int *phyids = static_cast<int *>(std::malloc(4 * sizeof(int)));
        int num = 4;
        if (dm_get_phyid_from_phy_mgmt_ifx(ifx, phyids, &num) == 0) {
            DM_FUZZ_CHECK(known && (num == 2 || num == 4), num);
            for (int i = 0; i < num; ++i) {
                DM_FUZZ_CHECK(dm_phyid_is_phy_mgmt_phyid(phyids[i]), phyids[i]);
            }
        }
        std::free(phyids);
    }
}

// The allocation list and the by-ID query agree; each slot's chips agree
// with the per-unit queries.
void check_chipids()
{
    static std::vector<dm_chipid_alloc_t> list(kChipidNum);
    int num = kChipidNum;
    DM_FUZZ_CHECK(dm_get_alloced_chipid(list.data(), &num) == 0);
    int prev = -1;
    for (int i = 0; i < num; ++i) {
        const dm_chipid_alloc_t &a = list[static_cast<size_t>(i)];
        DM_FUZZ_CHECK(a.chipid > prev && a.chipid < kChipidNum, a.chipid);
        prev = a.chipid;
        int node = 0;
        int unit = 0;
        DM_FUZZ_CHECK(dm_get_node_unit_from_chipid(a.chipid, &node, &unit) == 0, a.chipid);
        DM_FUZZ_CHECK(node == a.node && unit == a.unit, a.chipid);
    }
    for (int gslot : seen.gslots) {
        const int node = dm_get_phyid_from_gslot(gslot);
        int firsts[16];
        int n = 16;
        if (dm_get_chipid_range_by_node(node, firsts, &n) != 0) {
            continue;
        }
        DM_FUZZ_CHECK(n >= 1 && n <= 16, n);
        for (int u = 0; u < n; ++u) {
            int first = -1;
            DM_FUZZ_CHECK(dm_get_first_chipid_from_unit_node(u, node, &first) == 0, u);
            DM_FUZZ_CHECK(first == firsts[u], first, firsts[u]);
            int ids[16];
            int cap = 16;
            DM_FUZZ_CHECK(dm_get_chipid_from_unit_node(u, node, ids, &cap) == 0, u);
            DM_FUZZ_CHECK(cap >= 1 && ids[0] == first, cap, ids[0]);
        }
        DM_FUZZ_CHECK(dm_get_first_chipid_from_unit_node(n, node, firsts) == -2, n);
    }
}

void check_pre_inst()
{
    bool is = false;
    for (int k : seen.ports) {
        const int r = dm_get_pre_inst_by_phyid(port_unit_phyid(k), &is);
        if (!pre_inst.taken) {
            DM_FUZZ_CHECK(r == -2, r);
            continue;
        }
        DM_FUZZ_CHECK(r == 0 || r == -3, r);
        if (r != 0) {
            continue;
        }
        // lsm_user_slot is the port's slot in every record sent here.
        bool want = false;
        for (const dm_per_inst_card_info_t &c : pre_inst.list) {
            want = want || (c.dev == port_dev(k) && c.slot == port_slot(k) && c.sslot == port_slot(k));
        }
        DM_FUZZ_CHECK(is == want, k);
    }
}

void check_all()
{
    check_ports();
    check_cards();
    check_chips();
    check_lports();
    check_fc();
    check_mgmt();
    check_chipids();
    check_pre_inst();
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
    dm_host_send_msg(list == 0 ? DP_LIB_MSG_FC_START_CFG_OVER : DP_LIB_MSG_FC_SAVE_CFG_OVER, nullptr, 0);
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

void step_chipid_data(Reader &in)
{
    const int type = in.u8();
    const int numb = in.u8();
    const int len_mode = in.u8() % 4;
    const int data_num = numb == 255 ? 65 : numb == 254 ? -1 : numb % 5;
    const int present = std::clamp(data_num, 0, 4) - (len_mode == 2 && data_num > 0 ? 1 : 0);
    std::vector<uint8_t> buf(sizeof(addr_lib_sync_head_t) + static_cast<size_t>(present) * sizeof(chipid_slot_t));
    for (int i = 0; i < present; ++i) {
        chipid_slot_t rec = {};
        rec.status = in.u8() % 4;
        rec.gslot = in.u8() % 66;
        rec.card_type = in.u8();
        rec.idnum_per_unit = static_cast<uint16_t>(in.u8() % 5);
        rec.id_num = static_cast<uint16_t>(in.u8() % 18);
        const int base = in.u8() * 8;
        const int step = in.u8();
        for (int j = 0; j < CHIPID_SLOT_ID_MAX; ++j) {
            rec.id[j] = static_cast<uint16_t>(base + j * (step % 4) + ((step & 0x80) != 0 ? 2040 : 0));
        }
        std::memcpy(buf.data() + sizeof(addr_lib_sync_head_t) + static_cast<size_t>(i) * sizeof rec, &rec,
                    sizeof rec);
        seen.gslots.insert(rec.gslot);
    }
    addr_lib_sync_head_t head = {static_cast<int32_t>(buf.size()), type < 200 ? type % 2 : type - 200,
                                 data_num};
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
    dmfuzz::set_rpc_answer((control & 0x80) != 0 ? -1 : 0, static_cast<int>(control & 0x7F) * 2 - 4);
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

void step_identity(Reader &in)
{
    const int dev = in.u8() & 3;
    const int slot = in.u8() % 32;
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

// Heap arrays of exactly the size a query's contract asks for, so a write
// past them is caught.
struct ints {
    explicit ints(size_t n) : p(static_cast<int *>(std::calloc(n, sizeof(int)))) {}
    ~ints() { std::free(p); }
    ints(const ints &) = delete;
    ints &operator=(const ints &) = delete;
    int *p;
};

void query_split(Reader &in, int which)
{
    const int k = in.u8();
    const int node = dm_node_make(port_dev(k), port_slot(k));
    const int lport = in.i16() % 300;
    const int mode = in.i8() % 6;
    int unit = 0;
    int num = 0;
    ints children(DP_LIB_SPLIT_CHILD_MAX);
    ints mode_ids(DP_LIB_SPLIT_MODE_MAX);
    ints nums(DP_LIB_SPLIT_MODE_MAX);
    int r = 0;
    switch (which) {
    case 0:
        r = dm_local_get_child_unit_port_by_spe_mode(lport, mode, &unit, children.p, &num);
        break;
    case 1:
        r = dm_local_get_child_unit_port_with_all_mode(lport, &unit, mode_ids.p, children.p, nums.p);
        break;
    case 2:
        r = dm_get_child_unit_port_by_spe_mode(node, lport, mode, &unit, children.p, &num);
        break;
    case 3:
        r = dm_get_child_unit_port_with_all_mode(node, lport, &unit, mode_ids.p, nums.p, children.p);
        break;
    case 4:
        r = dm_get_child_unit_port_by_spe_mode_gms(node, lport, mode, &unit, children.p, &num);
        break;
    default:
        r = dm_get_child_unit_port_with_all_mode_gms(node, lport, &unit, mode_ids.p, nums.p, children.p);
        break;
    }
    if (r == 0 && (which % 2) == 0) {
        DM_FUZZ_CHECK(num >= 0 && num <= DP_LIB_SPLIT_CHILD_MAX, num);
    }
    if (r >= 0 && (which % 2) == 1) {
        DM_FUZZ_CHECK(r <= DP_LIB_SPLIT_MODE_MAX, r);
    }
}

void step_query(Reader &in)
{
    const int q = in.u8() % 24;
    const int k = in.u8();
    const int a = in.i32();
    int x = 0;
    int y = 0;
    int z = 0;
    int w = 0;
    bool b = false;
    switch (q) {
    case 0:
    case 1:
    case 2:
    case 3:
    case 4:
    case 5:
        query_split(in, q);
        break;
    case 6:
        dm_get_chipid_port_from_phyid(port_unit_phyid(k), &x, &y);
        dm_get_chipid_port_from_phyid(a, &x, &y);
        break;
    case 7:
        dm_get_ifindex_from_phyid(port_unit_phyid(k), &x);
        dm_get_phyid_from_ifx(k & 31, &x);
        break;
    case 8:
        dm_get_phyid_by_slot_unit_port(port_dev(k), port_slot(k), port_unit(k), port_cport(k), &x);
        dm_get_phyid_by_slot_lport(port_dev(k), port_slot(k), a & 0x1FF, &x);
        break;
    case 9:
        dm_get_port_medium_type(a, &x);
        dm_get_port_type(port_unit_phyid(k), &x);
        dm_get_port_medium_switch(port_unit_phyid(k), &b);
        dm_port_is_on_local_device(a);
        dm_port_is_on_local_switch(static_cast<unsigned>(k & 31));
        break;
    case 10:
        dm_get_min_port_num(port_dev(k), a & 63, &x);
        dm_get_max_port_num(port_dev(k), a & 63, &x);
        dm_get_local_card_max_port(a % 40, 0, &x);
        dm_local_check_slot_lport(k % 40, a % 300);
        break;
    case 11:
        dm_get_dev_type_from_port_phyid(port_unit_phyid(k), &x);
        dm_get_poe_support_by_phyid(port_unit_phyid(k), &b);
        dm_get_chip_cmic_port(a % 2100);
        break;
    case 12: {
        int *bmp = nullptr;
        int num = 0;
        if (dm_get_port_bmp_from_chipid(a % 2100, &bmp, &num) == 0) {
            DM_FUZZ_CHECK(num >= 0 && num <= DP_LIB_CARD_LPORT_MAX, num);
            scribble_and_free(bmp, static_cast<size_t>(num));
        }
        break;
    }
    case 13:
        dm_get_lchip_family_by_unit(a % 10);
        dm_get_invalid_port(a % 10);
        dm_get_max_port_by_unit(a % 10);
        break;
    case 14: {
        ints ports(DP_LIB_CARD_LPORT_MAX);
        int num = DP_LIB_CARD_LPORT_MAX;
        if (dm_get_poe_support_port(k & 7, ports.p, &num) == 0) {
            DM_FUZZ_CHECK(num >= 0 && num <= DP_LIB_CARD_LPORT_MAX, num);
        }
        dm_get_poe_support_by_card_type(k & 7, &b);
        break;
    }
    case 15: {
        const int room = 1 + (k & 7);
        ints lports(static_cast<size_t>(room));
        int num = room;
        if (dm_get_my_card_multi_lport(lports.p, &num) == 0) {
            DM_FUZZ_CHECK(num >= 0 && num <= room, num, room);
        }
        dm_get_my_lport_num_by_sub_slot(a % 3, &x);
        break;
    }
    case 16:
        dm_local_get_slot_lport_from_unit_port(k & 1, a & 31, &x, &y);
        dm_local_get_unit_port_from_slot_lport(k % 33, a % 300, &x, &y);
        break;
    case 17: {
        dp_lib_lport_t rec;
        dm_phyid_is_global(a, &b);
        dm_get_lphyid_from_phyid(port_unit_phyid(k));
        dm_get_phyid_from_lphyid(a);
        dm_get_lphyid_from_unit_port(k & 1, a & 31);
        dm_get_unit_port_from_lphyid(a, &x, &y);
        dm_local_get_pinfo_by_lphyid(a, &rec);
        break;
    }
    case 18:
        dm_get_first_chipid_from_node(dm_get_phyid_from_gslot(k % 66), &x);
        dm_get_first_chipid_from_local_unit(a % 5, &x);
        dm_is_local_chipid(a % 2100);
        break;
    case 19: {
        ints all(kChipidNum);
        int num = 0;
        DM_FUZZ_CHECK(dm_get_chipid_range_by_dev(k % 4, all.p, &num) == 0, k);
        DM_FUZZ_CHECK(num >= 0 && num <= kChipidNum, num);
        break;
    }
    case 20:
        dm_get_dune_static_chipid(a % 4, k % 40, a % 10);
        dm_get_dev_slot_unit_by_dune_chipid(a % 2100, &x, &y, &z);
        dm_get_sysport_from_dev_slot_unit_port(k % 4, a % 40, k % 10, a % 45, &x);
        dm_get_dev_slot_unit_port_from_sysport(a % 21000, &x, &y, &z, &w);
        break;
    case 21: {
        const int room = (k & 7);
        ints list(static_cast<size_t>(room > 0 ? room : 1));
        int num = room;
        if (dm_get_phyid_list_from_phy_mgmt_ifx(static_cast<IFINDEX>(a & 7), list.p, &num) == 0) {
            DM_FUZZ_CHECK(num <= room, num, room);
        }
        num = room;
        if (dm_get_phyid_from_phy_mgmt_ifx(static_cast<IFINDEX>(a & 7), list.p, &num) == 0) {
            DM_FUZZ_CHECK(num <= room, num, room);
        }
        utest_dm_get_phyid(static_cast<IFINDEX>(k & 7));
        break;
    }
    case 22:
        dm_get_node_from_phy_mgmt_phyid(a);
        dm_get_dev_slot_lport_from_phy_mgmt_phyid(a, &x, &y, &z);
        dm_get_phy_mgmt_phyid_from_dev_slot_lport(k % 4, a % 300, k % 3);
        dm_lib_show_phy_mgmt_ifx(a % 4);
        break;
    default:
        dm_get_card_port_num(dm_node_make(port_dev(k), port_slot(k)));
        dm_get_sub_node_from_port_phyid(a, &x);
        dm_show_all_local_port();
        break;
    }
}

void run_step(Op op, Reader &in)
{
    switch (op) {
    case kAddPort: step_add_port(in); break;
    case kSetIfx: step_set_ifx(in); break;
    case kRmvPort: step_rmv_port(in); break;
    case kCardCfg: step_card_cfg(in); break;
    case kChipCfg: step_chip_cfg(in); break;
    case kMyLport: step_my_lport(in); break;
    case kPhyMgmt: step_phy_mgmt(in); break;
    case kFcBegin: step_fc_begin(in); break;
    case kFcChunk: step_fc_chunk(in); break;
    case kFcOver: step_fc_over(in); break;
    case kPreInst: step_pre_inst(in); break;
    case kChipidData: step_chipid_data(in); break;
    case kBatch: dm_host_batch(in.u8() % 3); break;
    case kShow: step_show(in); break;
    case kRpc: step_rpc(in); break;
    case kIdentity: step_identity(in); check_cards(); break;
    case kBsOver: dm_host_set_bs_over((in.u8() & 1) != 0); break;
    case kRaw: step_raw(in); break;
    case kQuery: step_query(in); break;
    default: break;
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
