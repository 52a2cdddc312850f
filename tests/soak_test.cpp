// The whole library under load: writer threads send every data-message kind,
// chip-ID data, batch ends, port-validity requests and debug options, the
// way the host's threads would, while reader threads call every query family
// and the show commands, and events flow to the application. Bounded in
// time; run under ThreadSanitizer in CI. Every answer must be one version
// of what was sent, whole; every raised event must reach the application
// exactly once, in the order it was raised, on the library's event thread.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <pthread.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "dm_test_env.h"
#include <dm_lib_pd/dm_lib_pd.h>

namespace {

using clock_type = std::chrono::steady_clock;

// The writers run for at least kMinRounds and stop after about kRunTime; the
// verdict never depends on timing.
constexpr int kMinRounds = 20;
constexpr auto kRunTime = std::chrono::milliseconds(1500);
constexpr int kReaders = 3;
constexpr int kPorts = 32;
constexpr int kCardTypes = 3;
constexpr int kChipTypes = 4;
constexpr int kChipSlots[] = {1, 2, 33};  // gslots the address manager allocates for

// ---- findings and the application ---------------------------------------------

class Findings {
public:
    void add(const std::string &what)
    {
        std::lock_guard<std::mutex> g(mu_);
        if (list_.size() < 10) {
            list_.push_back(what);
        }
        ++count_;
    }
    size_t count()
    {
        std::lock_guard<std::mutex> g(mu_);
        return count_;
    }
    std::string report()
    {
        std::lock_guard<std::mutex> g(mu_);
        std::string out = std::to_string(count_) + " findings";
        for (const std::string &s : list_) {
            out += "\n  " + s;
        }
        return out;
    }

private:
    std::mutex mu_;
    std::vector<std::string> list_;
    size_t count_ = 0;
};

Findings bad;

struct delivered_event {
    int msg_id;
    std::vector<uint8_t> data;
    pthread_t thread;
    std::string thread_name;
};

std::mutex events_mu;
std::vector<delivered_event> delivered;

int on_event(dev_msg_t *msg)
{
    dev_msg_t head;
    std::memcpy(&head, msg, sizeof head);
    delivered_event e{head.msg_id, {}, pthread_self(), {}};
    const auto *data = static_cast<const uint8_t *>(dev_msg_data(msg));
    e.data.assign(data, data + std::max(head.data_len, 0));
    char name[16] = {};
    prctl(PR_GET_NAME, name);
    e.thread_name = name;
    std::lock_guard<std::mutex> g(events_mu);
    delivered.push_back(std::move(e));
    return 0;
}

std::vector<delivered_event> delivered_copy()
{
    std::lock_guard<std::mutex> g(events_mu);
    return delivered;
}

// The port-validity answer: four bytes that name the request.
int on_rpc(dev_msg_t *msg, void *ret_buf, int buf_len, int *ret_len)
{
    dm_port_valid_t req;
    std::memcpy(&req, dev_msg_data(msg), sizeof req);
    const int32_t answer = req.node ^ req.lport ^ req.valid;
    if (buf_len < 4) {
        return -1;
    }
    std::memcpy(ret_buf, &answer, sizeof answer);
    *ret_len = 4;
    return 0;
}

// ---- what the writers send ---------------------------------------------------------

// Port k: device 1, slot 1 + k / 16, unit (k / 8) % 2, chip port k % 8 + 1.
// Generation g decides its local port (one of two), interface index and
// interface manager's key, and is stamped into two fields, so a torn copy
// shows.
int port_slot(int k) { return 1 + k / 16; }
int port_unit(int k) { return (k / 8) % 2; }
int port_cport(int k) { return k % 8 + 1; }
int port_lport(int k, int g) { return k % 16 + 1 + 32 * (g % 2); }
int port_ifx(int k, int g) { return 0x10000 | (k << 8) | (g & 0xFF); }
int port_of_ifx(int ifx) { return (ifx & 0xFFFF) >> 8; }
int port_unit_phyid(int k)
{
    return dm_unit_port_phyid(1, port_slot(k), port_unit(k), port_cport(k));
}

dp_lib_port_t port_record(int k, int g)
{
    dp_lib_port_t p = {};
    p.ifx = g % 4 == 3 ? 0 : port_ifx(k, g);
    p.phyid = dm_phyid_make(1, port_slot(k), port_unit(k), port_cport(k));
    p.ss_phyid = dm_slot_lport_phyid(1, port_slot(k), port_lport(k, g));
    p.node = dm_node_make(1, port_slot(k));
    p.devid = 1;
    p.slotid = port_slot(k);
    p.subslotid = g;
    p.portid = port_lport(k, g);
    p.l_chipid = port_unit(k);
    p.g_chipid = 1000 + g;
    p.chip_portid = port_cport(k);
    p.type = PORT_GIGABIT_ETHERNET;
    p.lsm_key = k * 4 + g % 4;
    p.lsm_user_slot = port_slot(k);
    return p;
}

// Card type t in version v: every field that a reader sees derives from v.
dp_lib_card_type_info_t card_record(int t, int v)
{
    dp_lib_card_type_info_t c = {};
    c.card_type = t;
    c.port_num = v;
    c.chip_num = 2;
    for (int &type : c.chip_types) {
        type = v % kChipTypes;
    }
    std::snprintf(c.name, sizeof c.name, "card-%d", v);
    c.poe_support = static_cast<uint8_t>(v % 2);
    c.node_type = DM_TYPE_LC;
    for (int l = 0; l < DP_LIB_CARD_LPORT_MAX; ++l) {
        const bool present = l >= 1 && l <= 8;
        c.lport_unit[l] = static_cast<int8_t>(present ? l % 2 : -1);
        c.chip_port[l] = present ? l : -1;
        c.lport_poe_support[l] = static_cast<uint8_t>(present && v % 2 == 1);
    }
    for (int &m : c.chip_cport_max) {
        m = v;
    }
    return c;
}

// This card's local port list in version v: 4 to 6 ports; medium and type
// derive from v's low byte, which also sits in the record's reserved bytes.
std::vector<uint8_t> lport_list(int v)
{
    const int32_t n = 4 + v % 3;
    std::vector<uint8_t> payload(sizeof n);
    std::memcpy(payload.data(), &n, sizeof n);
    const int stamp = v & 0xFF;
    for (int i = 0; i < n; ++i) {
        dp_lib_lport_t r = {};
        r.lport_phyid = dm_lport_phyid_make(i % 2, i + 1);
        r.lport = static_cast<uint8_t>(i + 1);
        r.medium_type = static_cast<uint8_t>(stamp % 3);
        r.type = static_cast<uint8_t>(stamp % 8);
        r.reserved[0] = static_cast<uint8_t>(stamp);
        const auto *b = reinterpret_cast<const uint8_t *>(&r);
        payload.insert(payload.end(), b, b + sizeof r);
    }
    return payload;
}

// A management-port interface index names its device and port.
IFINDEX mgmt_ifx(int dev, int lport, int v) { return 0x300u | (dev << 4) | (lport << 2) | (v & 3); }

// A port-conversion list in version v: num entries, each naming v and its index.
void send_fc_list(bool save, int v)
{
    const int32_t num = 1 + v % 5;
    dmtest::send(save ? DP_LIB_MSG_FC_SAVE_CFG_BEGIN : DP_LIB_MSG_FC_START_CFG_BEGIN, num);
    for (int first = 0; first < num; first += 2) {
        const int last = std::min(first + 1, num - 1);
        std::vector<uint8_t> chunk(sizeof(dp_lib_fc_cfg_info_t));
        const dp_lib_fc_cfg_info_t head = {first, last};
        std::memcpy(chunk.data(), &head, sizeof head);
        for (int i = first; i <= last; ++i) {
            const dm_convert_cfg_t e = {0x06010000 | (v & 0xFFFF), i};
            const auto *b = reinterpret_cast<const uint8_t *>(&e);
            chunk.insert(chunk.end(), b, b + sizeof e);
        }
        dmtest::send_bytes(save ? DP_LIB_MSG_FC_SAVE_CFG : DP_LIB_MSG_FC_START_CFG, chunk);
    }
    dm_host_send_msg(save ? DP_LIB_MSG_FC_SAVE_CFG_OVER : DP_LIB_MSG_FC_START_CFG_OVER, nullptr, 0);
}

// ---- the chip-ID writer and the events it must cause ---------------------------

// Slot s owns chip IDs 40 + 16 s .. 40 + 16 s + 15, so an ID names its slot.
int slot_first_id(int gslot) { return 40 + 16 * gslot; }
int slot_of_id(int chipid) { return (chipid - 40) / 16; }

chipid_slot_t slot_record(int gslot, int v)
{
    chipid_slot_t r = {};
    r.status = CHIPID_VALID;
    r.gslot = gslot;
    r.card_type = v;
    r.idnum_per_unit = static_cast<uint16_t>(1 + v % 3);
    r.id_num = static_cast<uint16_t>(r.idnum_per_unit * (1 + v % 2));
    for (int i = 0; i < r.id_num; ++i) {
        r.id[i] = static_cast<uint16_t>(slot_first_id(gslot) + (i + v) % 16);
    }
    return r;
}

void send_slots(int type, const std::vector<chipid_slot_t> &recs)
{
    std::vector<uint8_t> buf(sizeof(addr_lib_sync_head_t) + recs.size() * sizeof(chipid_slot_t));
    const addr_lib_sync_head_t head = {static_cast<int32_t>(buf.size()), type,
                                       static_cast<int32_t>(recs.size())};
    std::memcpy(buf.data(), &head, sizeof head);
    if (!recs.empty()) {
        std::memcpy(buf.data() + sizeof head, recs.data(), recs.size() * sizeof(chipid_slot_t));
    }
    dm_host_addr_data(buf.data(), static_cast<int>(buf.size()));
}

// The one thread that sends chip-ID data and batch ends keeps the allocation
// the library must hold, and from it the allocation events the library must
// raise, in order.
class chipid_writer {
public:
    void initial_sync()
    {
        std::vector<chipid_slot_t> recs;
        for (int g : kChipSlots) {
            recs.push_back(slot_record(g, 0));
            stored_[g] = recs.back();
        }
        send_slots(ADDR_LIB_BS_SYNC, recs);  // silent: the sync is not over
        batch_end();
        dm_host_set_bs_over(true);
    }

    void round(int r)
    {
        const int g = kChipSlots[r % 3];
        switch (r % 7) {
        case 3: {  // release: no event
            chipid_slot_t none = {};
            none.status = CHIPID_NONE;
            none.gslot = g;
            send_slots(ADDR_LIB_REAL_SYNC, {none});
            stored_.erase(g);
            break;
        }
        case 5:  // the stored record again: no event
            if (stored_.count(g) != 0) {
                send_slots(ADDR_LIB_REAL_SYNC, {stored_[g]});
            }
            break;
        case 6:
            batch_end();
            break;
        default: {  // a changed allocation: one event per ID
            const chipid_slot_t rec = slot_record(g, r);
            send_slots(ADDR_LIB_REAL_SYNC, {rec});
            const bool changed =
                stored_.count(g) == 0 || std::memcmp(&stored_[g], &rec, sizeof rec) != 0;
            stored_[g] = rec;
            if (changed) {
                expect_slot(rec);
            }
            break;
        }
        }
    }

    const std::vector<dm_chipid_alloc_t> &expected() const { return expected_; }

private:
    void batch_end()
    {
        dm_host_batch(SYNC_BATCH_OVER);
        for (const auto &[g, rec] : stored_) {  // ascending gslot
            expect_slot(rec);
        }
    }

    void expect_slot(const chipid_slot_t &rec)
    {
        for (int i = 0; i < rec.id_num; ++i) {
            expected_.push_back({rec.id[i], dm_get_phyid_from_gslot(rec.gslot),
                                 i / rec.idnum_per_unit, DM_TYPE_BOX});
        }
    }

    std::map<int, chipid_slot_t> stored_;
    std::vector<dm_chipid_alloc_t> expected_;
};

// ---- readers ---------------------------------------------------------------------------

void check_port_copy(const dm_port_t &p, int k, const char *how)
{
    const int g = p.subslotid;
    const bool whole =
        p.devid == 1 && p.slotid == port_slot(k) && p.node == dm_node_make(1, port_slot(k)) &&
        p.l_chipid == port_unit(k) && p.chip_portid == port_cport(k) && p.g_chipid == 1000 + g &&
        p.portid == port_lport(k, g) && p.phyid == dm_slot_lport_phyid(1, port_slot(k), p.portid) &&
        (p.ifx == 0 || port_of_ifx(p.ifx) == k);
    if (!whole) {
        bad.add(std::string(how) + ": torn or foreign record for port " + std::to_string(k));
    }
}

void read_ports(int k, int g)
{
    dm_port_t p;
    if (dm_get_pinfo_by_phyid(port_unit_phyid(k), &p) == 0) {
        check_port_copy(p, k, "by unit/port");
    }
    const int ss = dm_slot_lport_phyid(1, port_slot(k), port_lport(k, g));
    if (dm_get_pinfo_by_phyid(ss, &p) == 0) {
        check_port_copy(p, k, "by slot/lport");
        if (p.phyid != ss) {
            bad.add("slot/lport key not held");
        }
    }
    const int ifx = port_ifx(k, g);
    if (dm_get_pinfo_by_ifx(ifx, &p) == 0) {
        check_port_copy(p, k, "by ifx");
        if (p.ifx != ifx) {
            bad.add("ifx key not held");
        }
    }
    int node = 0;
    int lport = 0;
    if (dm_get_node_lport_from_phyid(port_unit_phyid(k), &node, &lport) == 0 &&
        (node != dm_node_make(1, port_slot(k)) ||
         (lport != port_lport(k, 0) && lport != port_lport(k, 1)))) {
        bad.add("node/lport of port " + std::to_string(k));
    }
    int unit = 0;
    int cport = 0;
    if (dm_get_unit_port_from_phyid(port_unit_phyid(k), &unit, &cport) == 0 &&
        (unit != port_unit(k) || cport != port_cport(k))) {
        bad.add("unit/port of port " + std::to_string(k));
    }
    int found = 0;
    dm_get_ifindex_from_phyid(port_unit_phyid(k), &found);
    dm_get_phyid_from_ifx(ifx, &found);
    bool flag = false;
    dm_get_port_medium_switch(port_unit_phyid(k), &flag);
    dm_get_port_type(port_unit_phyid(k), &found);
    dm_get_poe_support_by_phyid(port_unit_phyid(k), &flag);
    dm_get_dev_type_from_port_phyid(port_unit_phyid(k), &found);
    const int pre = dm_get_pre_inst_by_phyid(port_unit_phyid(k), &flag);
    if (pre != 0 && pre != -2 && pre != -3) {
        bad.add("pre-installed query answered " + std::to_string(pre));
    }
}

void read_cards(int t)
{
    dp_lib_card_type_info_t c;
    if (dm_lib_get_card_cfg_by_type(t, &c) == 0) {
        const int v = c.port_num;
        char name[32];
        std::snprintf(name, sizeof name, "card-%d", v);
        if (c.card_type != t || c.chip_types[7] != v % kChipTypes ||
            std::strcmp(c.name, name) != 0 || c.poe_support != v % 2 || c.chip_cport_max[5] != v) {
            bad.add("torn card-type record " + std::to_string(t));
        }
    }
    int *types = nullptr;
    int num = 0;
    if (dm_get_chip_type_by_card_type(t, &types, &num) == 0) {
        if (num != 2 || types[0] != types[7]) {
            bad.add("torn chip list of card type " + std::to_string(t));
        }
        std::free(types);
    }
    char name[8];
    dm_get_card_name_by_type(t, name, sizeof name);
    std::vector<int> ports(DP_LIB_CARD_LPORT_MAX);
    num = DP_LIB_CARD_LPORT_MAX;
    dm_get_poe_support_port(t, ports.data(), &num);
    int *units = nullptr;
    if (dm_get_my_lchips(&units) >= 0) {
        std::free(units);
    }
    for (int chip = 0; chip < kChipTypes; ++chip) {
        const int family = dm_get_chip_family(chip);
        if (family != -1 && (family < 0 || family % kChipTypes != chip)) {
            bad.add("chip family of type " + std::to_string(chip));
        }
        dm_get_chip_cmic_port_by_type(chip);
    }
    dm_get_invalid_port(t % 2);
    dm_get_lchip_family_by_unit(t % 2);
    dm_get_max_port_by_unit(t % 2);
    int low = 0;
    dm_get_min_port_num(1, port_slot(t), &low);
    dm_get_max_port_num(1, port_slot(t), &low);
    dm_get_local_card_max_port(1, 0, &low);
    dm_local_check_slot_lport(1, t + 1);
    dm_get_card_port_num(dm_node_make(1, port_slot(t)));
}

void read_local_ports(int i)
{
    const int n = dm_get_my_lport_num();
    if (n != 0 && (n < 4 || n > 6)) {
        bad.add("local port count " + std::to_string(n));
    }
    dp_lib_lport_t r;
    if (dm_local_get_pinfo_by_lport_phyid(dm_lport_phyid_make(i % 2, i + 1), &r) == 0) {
        const int v = r.reserved[0];
        if (r.lport != i + 1 || r.medium_type != v % 3 || r.type != v % 8) {
            bad.add("torn local port record " + std::to_string(i));
        }
    }
    int unit = 0;
    int port = 0;
    int slot = 0;
    int lport = 0;
    dm_local_get_unit_port_from_slot_lport(dm_get_gslot_from_lslot(1, 1, 0), i + 1, &unit, &port);
    dm_local_get_slot_lport_from_unit_port(i % 2, i + 1, &slot, &lport);
    std::vector<int> combo(8);
    int num = 8;
    dm_get_my_card_multi_lport(combo.data(), &num);
    dm_get_my_lport_num_by_sub_slot(0, &num);
    bool global = false;
    dm_phyid_is_global(port_unit_phyid(i), &global);
    dm_get_lphyid_from_phyid(port_unit_phyid(i));
    dm_get_phyid_from_lphyid(dm_unit_port_phyid(0, 0, i % 2, i + 1));
    dm_get_lphyid_from_unit_port(i % 2, i + 1);
    dm_get_unit_port_from_lphyid(dm_slot_lport_phyid(0, 1, i + 1), &unit, &port);
    dm_local_get_pinfo_by_lphyid(dm_unit_port_phyid(0, 0, i % 2, i + 1), &r);
    std::vector<int> children(DP_LIB_SPLIT_CHILD_MAX);
    std::vector<int> modes(DP_LIB_SPLIT_MODE_MAX);
    std::vector<int> nums(DP_LIB_SPLIT_MODE_MAX);
    dm_local_get_child_unit_port_from_lport(i + 1, &unit, children.data(), &num);
    dm_local_get_child_unit_port_with_all_mode(i + 1, &unit, modes.data(), children.data(),
                                               nums.data());
    const int node = dm_node_make(1, 1);
    dm_get_child_unit_port_from_node_lport(node, i + 1, &unit, children.data(), &num);
    dm_get_child_unit_port_with_all_mode(node, i + 1, &unit, modes.data(), nums.data(),
                                         children.data());
    dm_get_child_unit_port_from_node_lport_gms(node, i + 1, &unit, children.data(), &num);
    dm_get_child_unit_port_with_all_mode_gms(node, i + 1, &unit, modes.data(), nums.data(),
                                             children.data());
}

void read_mgmt(int v)
{
    for (int dev = 1; dev <= 2; ++dev) {
        for (int lport = 0; lport < 2; ++lport) {
            int got_dev = 0;
            int got_lport = 0;
            if (dm_get_devid_lport_from_phy_mgmt_ifx(mgmt_ifx(dev, lport, v), &got_dev,
                                                     &got_lport) == 0 &&
                (got_dev != dev || got_lport != lport)) {
                bad.add("management port of ifx");
            }
        }
    }
    int list[4];
    int num = 4;
    dm_get_phyid_from_phy_mgmt_ifx(mgmt_ifx(1, 0, v), list, &num);
    dm_get_devid_from_phy_mgmt_ifx(mgmt_ifx(2, 1, v));
    dm_get_node_from_phy_mgmt_phyid(dm_get_phy_mgmt_phyid_from_dev_slot(1, 30));
}

// A list is empty or one version whole: every entry names the same version
// and its own index.
void read_fc(bool save)
{
    dm_convert_cfg_t *cfg = nullptr;
    int num = 0;
    const int r = save ? dm_get_fc_save_cfg(&cfg, &num) : dm_get_fc_startup_cfg(&cfg, &num);
    if (r != 0 || num < 0 || num > 5) {
        bad.add("port-conversion list of " + std::to_string(num));
    }
    for (int i = 0; i < num; ++i) {
        if (cfg[i].phyid != cfg[0].phyid || cfg[i].type != i) {
            bad.add("torn port-conversion list");
            break;
        }
    }
    std::free(cfg);
}

void read_chipids()
{
    std::vector<dm_chipid_alloc_t> list(2048);
    int num = 2048;
    if (dm_get_alloced_chipid(list.data(), &num) != 0) {
        bad.add("allocation list refused");
        return;
    }
    for (int i = 0; i < num; ++i) {
        const dm_chipid_alloc_t &a = list[static_cast<size_t>(i)];
        if (a.node != dm_get_phyid_from_gslot(slot_of_id(a.chipid)) ||
            (i > 0 && a.chipid <= list[i - 1].chipid)) {
            bad.add("allocation list entry for chip ID " + std::to_string(a.chipid));
        }
    }
    for (int g : kChipSlots) {
        const int node = dm_get_phyid_from_gslot(g);
        int ids[16];
        int n = 16;
        if (dm_get_chipid_range_by_node(node, ids, &n) == 0) {
            for (int u = 0; u < n; ++u) {
                if (slot_of_id(ids[u]) != g) {
                    bad.add("chip ID range of slot " + std::to_string(g));
                }
            }
        }
        int first = 0;
        dm_get_first_chipid_from_unit_node(1, node, &first);
        n = 16;
        dm_get_chipid_from_unit_node(0, node, ids, &n);
        int unit = 0;
        int owner = 0;
        if (dm_get_node_unit_from_chipid(slot_first_id(g), &owner, &unit) == 0 && owner != node) {
            bad.add("owner of chip ID " + std::to_string(slot_first_id(g)));
        }
    }
    std::vector<int> all(2048);
    dm_get_chipid_range_by_dev(1, all.data(), &num);
    dm_is_local_chipid(slot_first_id(1));
    int first = 0;
    dm_get_first_chipid_from_local_unit(0, &first);
    dm_get_first_chipid_from_node(dm_node_make(1, 2), &first);
    int bmp_num = 0;
    int *bmp = nullptr;
    if (dm_get_port_bmp_from_chipid(slot_first_id(1), &bmp, &bmp_num) == 0) {
        std::free(bmp);
    }
    dm_get_chip_cmic_port(slot_first_id(2));
    int dev = 0;
    int slot = 0;
    int unit = 0;
    int port = 0;
    int sysport = 0;
    dm_get_dev_slot_unit_by_dune_chipid(dm_get_dune_static_chipid(1, 3, 1), &dev, &slot, &unit);
    dm_get_sysport_from_dev_slot_unit_port(1, 3, 1, 7, &sysport);
    dm_get_dev_slot_unit_port_from_sysport(sysport, &dev, &slot, &unit, &port);
}

void reader(int id, const std::atomic<bool> &stop, std::atomic<long> &reads)
{
    unsigned seed = 777u + static_cast<unsigned>(id);
    while (!stop.load()) {
        seed = seed * 1103515245u + 12345u;
        const int k = static_cast<int>((seed >> 8) % kPorts);
        const int v = static_cast<int>((seed >> 16) & 0xFF);
        read_ports(k, v);
        read_cards(1 + k % kCardTypes);
        read_local_ports(k % 6);
        read_mgmt(v);
        read_fc(v % 2 == 0);
        read_chipids();
        // The shows walk every table under its read lock.
        static const int paras[] = {DP_LIB_DBG_SHOW_ALL_PORT, DP_LIB_DBG_SHOW_MGMT,
                                    DP_LIB_DBG_SHOW_FC_START_CFG, DP_LIB_DBG_SHOW_FC_SAVE_CFG};
        dm_host_show(paras[v % 4]);
        reads.fetch_add(1);
    }
}

// ---- writers -----------------------------------------------------------------------------

bool time_left(const clock_type::time_point &start, int round)
{
    return round < kMinRounds || clock_type::now() - start < kRunTime;
}

int write_ports(const clock_type::time_point &start)
{
    int r = 0;
    for (; time_left(start, r); ++r) {
        for (int k = 0; k < kPorts; ++k) {
            const int g = r * 3 + k % 3;
            switch ((r + k) % 5) {
            case 0: {
                const int32_t phyid = port_record(k, g).phyid;
                dmtest::send(DP_LIB_MSG_PORT_RMV, phyid);
                break;
            }
            case 1:
                dmtest::send(DP_LIB_MSG_PORT_IFX,
                             dp_lib_port_ifx_msg_t{port_record(k, g).phyid, port_ifx(k, g + 1)});
                break;
            default:
                dmtest::send(DP_LIB_MSG_PORT_INFO, port_record(k, g));
                break;
            }
        }
        if (r == kMinRounds / 2) {
            dp_lib_per_inst_info_t list = {};
            list.len = 1;
            list.info[0] = {1, 2, 2, 0};
            dmtest::send(DP_LIB_MSG_PORT_PRE_INST_DONE, list);
        }
    }
    return r;
}

int write_cards(const clock_type::time_point &start)
{
    int r = 0;
    for (; time_left(start, r); ++r) {
        dmtest::send(DP_LIB_MSG_CARD_CFG, card_record(1 + r % kCardTypes, r));
        const int chip = r % kChipTypes;
        dmtest::send(DP_LIB_MSG_CHIP_CFG,
                     dp_lib_chip_info_t{chip, chip + kChipTypes * r, 0, 1 + chip});
    }
    return r;
}

int write_local(const clock_type::time_point &start)
{
    int r = 0;
    for (; time_left(start, r); ++r) {
        dmtest::send_bytes(DP_LIB_MSG_MY_LPORT_CFG, lport_list(r));
        const int dev = 1 + r % 2;
        const int lport = (r / 2) % 2;
        dmtest::send(DP_LIB_MSG_PHY_MGMT_IFX,
                     dp_lib_phy_mgmt_ifx_msg_t{dev, mgmt_ifx(dev, lport, r), lport, 0, {}});
    }
    return r;
}

int write_fc(bool save, const clock_type::time_point &start)
{
    int r = 0;
    for (; time_left(start, r); ++r) {
        send_fc_list(save, r);
    }
    return r;
}

// Port-validity requests and debug options, as the host's threads send them.
int write_requests(const clock_type::time_point &start)
{
    int r = 0;
    for (; time_left(start, r); ++r) {
        struct {
            dp_lib_msg_h_t head;
            dm_port_valid_t req;
            uint8_t room[128];
        } msg = {};
        msg.head = {0, DP_LIB_MSG_PORT_VALID, DP_LIB_MOD_PD, static_cast<int32_t>(sizeof msg.req)};
        msg.req = {dm_node_make(1, 1 + r % 3), r % 48, static_cast<uint8_t>(r % 2), {}};
        int ack = 0;
        dm_host_send_rpc(&msg, static_cast<int>(sizeof msg.head + sizeof msg.req), &ack);
        int32_t reply[2];
        std::memcpy(reply, &msg, sizeof reply);
        const int32_t want = dm_node_make(1, 1 + r % 3) ^ (r % 48) ^ (r % 2);
        if (ack != 8 || reply[0] != 0 || reply[1] != want) {
            bad.add("port-validity reply " + std::to_string(ack));
        }
        dm_host_run_dbg_init(r % 2 == 0 ? "fcdbg 4" : "nothing");
        dm_host_show(DP_LIB_FC_DBG_LEVEL);
    }
    return r;
}

int write_chipids(chipid_writer &w, const clock_type::time_point &start)
{
    w.initial_sync();
    int r = 0;
    for (; time_left(start, r); ++r) {
        w.round(r);
    }
    return r;
}

// Sends fd 1 to /dev/null for the object's life: the show commands print
// whatever the debug level.
class quiet_stdout {
public:
    quiet_stdout()
    {
        std::fflush(stdout);
        saved_ = dup(1);
        const int null_fd = open("/dev/null", O_WRONLY);
        dup2(null_fd, 1);
        close(null_fd);
    }
    ~quiet_stdout()
    {
        std::fflush(stdout);
        dup2(saved_, 1);
        close(saved_);
    }
    quiet_stdout(const quiet_stdout &) = delete;
    quiet_stdout &operator=(const quiet_stdout &) = delete;

private:
    int saved_;
};

std::vector<delivered_event> wait_for_events(size_t n)
{
    const auto deadline = clock_type::now() + std::chrono::seconds(20);
    std::vector<delivered_event> got = delivered_copy();
    while (got.size() < n && clock_type::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        got = delivered_copy();
    }
    // Anything raised more than once would arrive by now as well.
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    return delivered_copy();
}

TEST(Soak, EveryMessageKindAgainstEveryQueryFamilyWithEventsFlowing)
{
    dm_host_set_dbg_level(LIB_DBG_END);
    dm_host_set_my_card(dm_node_make(1, 1), dm_get_gslot_from_lslot(1, 1, 0), 1, DM_TYPE_LC);
    for (int slot = 1; slot <= 3; ++slot) {
        dm_host_set_card(dm_node_make(1, slot), 1 + slot % kCardTypes, 1 + slot % kCardTypes,
                         DM_TYPE_LC);
    }
    ASSERT_EQ(dm_reg_dev_event_handler_pd(on_event), 0);
    ASSERT_EQ(dm_reg_dev_rpc_handler_pd(on_rpc), 0);
    ASSERT_EQ(dm_host_run_init(), 0);

    chipid_writer chipids;
    std::atomic<bool> stop{false};
    std::atomic<long> reads{0};
    std::map<std::string, int> rounds;
    {
        quiet_stdout quiet;
        std::vector<std::thread> readers;
        for (int i = 0; i < kReaders; ++i) {
            readers.emplace_back(reader, i, std::cref(stop), std::ref(reads));
        }
        const auto start = clock_type::now();
        int r_ports = 0, r_cards = 0, r_local = 0, r_start = 0, r_save = 0, r_rpc = 0, r_chip = 0;
        std::vector<std::thread> writers;
        writers.emplace_back([&] { r_ports = write_ports(start); });
        writers.emplace_back([&] { r_cards = write_cards(start); });
        writers.emplace_back([&] { r_local = write_local(start); });
        writers.emplace_back([&] { r_start = write_fc(false, start); });
        writers.emplace_back([&] { r_save = write_fc(true, start); });
        writers.emplace_back([&] { r_rpc = write_requests(start); });
        writers.emplace_back([&] { r_chip = write_chipids(chipids, start); });
        for (std::thread &t : writers) {
            t.join();
        }
        stop.store(true);
        for (std::thread &t : readers) {
            t.join();
        }
        rounds = {{"ports", r_ports},    {"cards", r_cards},  {"local", r_local},
                  {"fc_start", r_start}, {"fc_save", r_save}, {"rpc", r_rpc},
                  {"chipids", r_chip}};
    }
    EXPECT_EQ(bad.count(), 0u) << bad.report();
    EXPECT_GT(reads.load(), 0);
    for (const auto &[name, n] : rounds) {
        RecordProperty(name, n);
    }
    RecordProperty("reads", static_cast<int>(reads.load()));

    // Every event raised reaches the application once: the chip-ID events in
    // the order the one chip-ID thread caused them, one event per committed
    // port-conversion list, and the pre-installed event once.
    const std::vector<dm_chipid_alloc_t> &want_alloc = chipids.expected();
    const size_t want_total =
        want_alloc.size() + static_cast<size_t>(rounds["fc_start"] + rounds["fc_save"]) + 1;
    const std::vector<delivered_event> got = wait_for_events(want_total);
    ASSERT_EQ(got.size(), want_total);
    std::vector<dm_chipid_alloc_t> got_alloc;
    std::map<int, int> per_kind;
    for (const delivered_event &e : got) {
        ++per_kind[e.msg_id];
        EXPECT_TRUE(pthread_equal(e.thread, got.front().thread));
        EXPECT_EQ(e.thread_name, "lib_eventpd_dm");
        if (e.msg_id == DEV_MSG_CHIPIP_ALLOC) {
            ASSERT_EQ(e.data.size(), sizeof(dm_chipid_alloc_t));
            dm_chipid_alloc_t a;
            std::memcpy(&a, e.data.data(), sizeof a);
            got_alloc.push_back(a);
        } else {
            EXPECT_TRUE(e.data.empty()) << e.msg_id;
        }
    }
    EXPECT_EQ(per_kind[DEV_MSG_FC_START_CFG_OVER], rounds["fc_start"]);
    EXPECT_EQ(per_kind[DEV_MSG_FC_SAVE_CFG], rounds["fc_save"]);
    EXPECT_EQ(per_kind[DEV_MSG_PRE_INST_PORT_SYNC_DONE], 1);
    ASSERT_EQ(got_alloc.size(), want_alloc.size());
    for (size_t i = 0; i < want_alloc.size(); ++i) {
        EXPECT_EQ(std::memcmp(&got_alloc[i], &want_alloc[i], sizeof got_alloc[i]), 0)
            << "allocation event " << i << ": chip ID " << got_alloc[i].chipid << " unit "
            << got_alloc[i].unit << ", expected chip ID " << want_alloc[i].chipid << " unit "
            << want_alloc[i].unit;
    }
    EXPECT_EQ(dm_host_events_delivered(), want_total);
}

}  // namespace
