// Checks of the structured fuzz target: each table against the keys that
// lead to its records, against the getters' counts and copies, and against
// the model of what was sent. A failed check aborts with the values involved.
#include <algorithm>

#include "sequence.h"

namespace dmseq {

model m;
touched seen;

// The record under a port's dm_phyid holds that key (the generator stores
// it in subcard_node) and the identifiers built from it.
static void check_port(int k)
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
static void check_ss(int ss)
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
static void check_ifx(int ifx)
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
    for (const auto &[type, want] : m.chips) {
        DM_FUZZ_CHECK(dm_get_chip_family(type) == want.chip_family, type);
        DM_FUZZ_CHECK(dm_get_chip_cmic_port_by_type(type) == want.cmic_port, type);
    }
}

// The local port table: its count, and under every key the first record of
// the list that has it.
void check_lports()
{
    DM_FUZZ_CHECK(dm_get_my_lport_num() == static_cast<int>(m.lports.size()),
                  dm_get_my_lport_num());
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
        for (int round = 0; round < 2; ++round) {
            dm_convert_cfg_t *cfg = nullptr;
            int num = -1;
            const int r =
                list == 0 ? dm_get_fc_startup_cfg(&cfg, &num) : dm_get_fc_save_cfg(&cfg, &num);
            DM_FUZZ_CHECK(r == 0, list, r);
            DM_FUZZ_CHECK(num == static_cast<int>(f.committed.size()), num, f.committed.size());
            DM_FUZZ_CHECK((cfg == nullptr) == (num == 0), num);
            if (num > 0) {
                DM_FUZZ_CHECK(
                    std::memcmp(cfg, f.committed.data(), f.committed.size() * sizeof *cfg) == 0,
                    num);
            }
            scribble_and_free(cfg, static_cast<size_t>(num));
        }
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
    // A capacity one short of the count is refused and writes nothing.
    int small = num - 1;
    DM_FUZZ_CHECK(
        num == 0 || (dm_get_alloced_chipid(list.data(), &small) == -4 && small == num - 1), num,
        small);
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

void check_all()
{
    check_ports();
    check_cards();
    check_chips();
    check_lports();
    check_fc();
    check_chipids();
}

}  // namespace dmseq
