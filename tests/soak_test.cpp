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
#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
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

// What any thread found wrong; the first few are kept for the report.
std::mutex bad_mu;
std::vector<std::string> bad;
int bad_count = 0;

void check(bool ok, const char *what, long long key)
{
    if (!ok) {
        std::lock_guard<std::mutex> g(bad_mu);
        if (bad_count++ < 10) {
            bad.push_back(std::string(what) + " " + std::to_string(key));
        }
    }
}

// ---- the application -----------------------------------------------------------

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
    const auto *data = static_cast<const uint8_t *>(dev_msg_data(msg));
    char name[16] = {};
    prctl(PR_GET_NAME, name);
    std::lock_guard<std::mutex> g(events_mu);
    delivered.push_back(
        {head.msg_id, {data, data + std::max(head.data_len, 0)}, pthread_self(), name});
    return 0;
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
int port_node(int k) { return dm_node_make(1, port_slot(k)); }
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
    p.node = port_node(k);
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
    std::fill(std::begin(c.chip_types), std::end(c.chip_types), v % kChipTypes);
    std::fill(std::begin(c.chip_cport_max), std::end(c.chip_cport_max), v);
    std::snprintf(c.name, sizeof c.name, "card-%d", v);
    c.poe_support = static_cast<uint8_t>(v % 2);
    c.node_type = DM_TYPE_LC;
    return c;
}

// This card's local port list in version v: 4 to 6 ports; medium and type
// derive from v's low byte, which also sits in the record's reserved bytes.
void send_lport_list(int v)
{
    std::vector<dp_lib_lport_t> recs(static_cast<size_t>(4 + v % 3));
    for (size_t i = 0; i < recs.size(); ++i) {
        recs[i].lport_phyid = dm_lport_phyid_make(static_cast<int>(i % 2), static_cast<int>(i + 1));
        recs[i].lport = static_cast<uint8_t>(i + 1);
        recs[i].medium_type = static_cast<uint8_t>((v & 0xFF) % 3);
        recs[i].type = static_cast<uint8_t>((v & 0xFF) % 8);
        recs[i].reserved[0] = static_cast<uint8_t>(v);
    }
    dmtest::send_lports(recs);
}

// A management-port interface index names its device and port.
IFINDEX mgmt_ifx(int dev, int lport, int v) { return 0x300u | (dev << 4) | (lport << 2) | (v & 3); }

// A port-conversion list in version v: num entries, each naming v and its
// index.
void send_fc_list(bool save, int v)
{
    const int32_t num = 1 + v % 5;
    dmtest::send(save ? DP_LIB_MSG_FC_SAVE_CFG_BEGIN : DP_LIB_MSG_FC_START_CFG_BEGIN, num);
    std::vector<uint8_t> chunk(sizeof(dp_lib_fc_cfg_info_t) + num * sizeof(dm_convert_cfg_t));
    const dp_lib_fc_cfg_info_t head = {0, num - 1};
    std::memcpy(chunk.data(), &head, sizeof head);
    for (int i = 0; i < num; ++i) {
        const dm_convert_cfg_t e = {0x06010000 | (v & 0xFFFF), i};
        std::memcpy(chunk.data() + sizeof head + i * sizeof e, &e, sizeof e);
    }
    dmtest::send_bytes(save ? DP_LIB_MSG_FC_SAVE_CFG : DP_LIB_MSG_FC_START_CFG, chunk);
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
    std::memcpy(buf.data() + sizeof head, recs.data(), recs.size() * sizeof(chipid_slot_t));
    dm_host_addr_data(buf.data(), static_cast<int>(buf.size()));
}

// The one thread that sends chip-ID data and batch ends keeps the allocation
// the library must hold, and from it the allocation events the library must
// raise, in order: {chip ID, node, unit, node type}.
using alloc_event = std::array<int, 4>;
std::map<int, chipid_slot_t> chip_stored;
std::vector<alloc_event> chip_events;

void expect_slot_events(const chipid_slot_t &rec)
{
    for (int i = 0; i < rec.id_num; ++i) {
        chip_events.push_back(
            {rec.id[i], dm_get_phyid_from_gslot(rec.gslot), i / rec.idnum_per_unit, DM_TYPE_BOX});
    }
}

void chipid_batch_end()
{
    dm_host_batch(SYNC_BATCH_OVER);
    for (const auto &[g, rec] : chip_stored) {  // ascending gslot
        expect_slot_events(rec);
    }
}

void write_chipids(int r)
{
    if (r == 0) {  // the initial sync is silent until its batch ends
        std::vector<chipid_slot_t> recs;
        for (int g : kChipSlots) {
            recs.push_back(chip_stored[g] = slot_record(g, 0));
        }
        send_slots(ADDR_LIB_BS_SYNC, recs);
        chipid_batch_end();
        dm_host_set_bs_over(true);
        return;
    }
    if (r % 7 == 6) {
        chipid_batch_end();
        return;
    }
    const int g = kChipSlots[r % 3];
    chipid_slot_t rec = slot_record(g, r);  // a changed allocation: one event per ID
    if (r % 7 == 3) {                       // a release: no event
        rec = {};
        rec.status = CHIPID_NONE;
        rec.gslot = g;
    } else if (r % 7 == 5 && chip_stored.count(g) != 0) {  // the stored record again: no event
        rec = chip_stored[g];
    }
    send_slots(ADDR_LIB_REAL_SYNC, {rec});
    if (rec.status == CHIPID_NONE) {
        chip_stored.erase(g);
    } else if (chip_stored.count(g) == 0 || std::memcmp(&chip_stored[g], &rec, sizeof rec) != 0) {
        expect_slot_events(rec);
        chip_stored[g] = rec;
    }
}

// ---- readers: every answer found must be whole and hold its key -------------

void check_port_copy(const dm_port_t &p, int k, const char *how)
{
    const int g = p.subslotid;
    check(p.devid == 1 && p.slotid == port_slot(k) && p.node == port_node(k) &&
              p.l_chipid == port_unit(k) && p.chip_portid == port_cport(k) &&
              p.g_chipid == 1000 + g && p.portid == port_lport(k, g) &&
              p.phyid == dm_slot_lport_phyid(1, port_slot(k), p.portid) &&
              (p.ifx == 0 || (p.ifx & 0xFFFF) >> 8 == k),
          how, k);
}

void read_ports(int k, int v)
{
    const int up = port_unit_phyid(k);
    const int ss = dm_slot_lport_phyid(1, port_slot(k), port_lport(k, v));
    const int ifx = port_ifx(k, v);
    dm_port_t p;
    if (dm_get_pinfo_by_phyid(up, &p) == 0) {
        check_port_copy(p, k, "torn or foreign record by unit/port, port");
    }
    if (dm_get_pinfo_by_phyid(ss, &p) == 0) {
        check_port_copy(p, k, "torn or foreign record by slot/lport, port");
        check(p.phyid == ss, "slot/lport key not held, port", k);
    }
    if (dm_get_pinfo_by_ifx(ifx, &p) == 0) {
        check_port_copy(p, k, "torn or foreign record by ifx, port");
        check(p.ifx == ifx, "ifx key not held, port", k);
    }
    int node = 0;
    int lport = 0;
    if (dm_get_node_lport_from_phyid(up, &node, &lport) == 0) {
        check(node == port_node(k) && (lport == port_lport(k, 0) || lport == port_lport(k, 1)),
              "node/lport of port", k);
    }
    bool pre = false;
    const int r = dm_get_pre_inst_by_phyid(up, &pre);
    check(r == 0 || r == -2 || r == -3, "pre-installed query answered", r);
}

void read_cards(int t)
{
    dp_lib_card_type_info_t c;
    if (dm_lib_get_card_cfg_by_type(t, &c) == 0) {
        char name[32];
        std::snprintf(name, sizeof name, "card-%d", c.port_num);
        check(c.card_type == t && c.chip_types[7] == c.port_num % kChipTypes &&
                  std::strcmp(c.name, name) == 0 && c.poe_support == c.port_num % 2 &&
                  c.chip_cport_max[5] == c.port_num,
              "torn card-type record", t);
    }
    int *types = nullptr;
    int num = 0;
    if (dm_get_chip_type_by_card_type(t, &types, &num) == 0) {
        check(num == 2 && types[0] == types[7], "torn chip list of card type", t);
        std::free(types);
    }
    for (int chip = 0; chip < kChipTypes; ++chip) {
        const int family = dm_get_chip_family(chip);
        check(family == -1 || (family >= 0 && family % kChipTypes == chip), "chip family", chip);
    }
}

void read_local_and_mgmt_ports(int i, int v)
{
    const int n = dm_get_my_lport_num();
    check(n == 0 || (n >= 4 && n <= 6), "local port count", n);
    dp_lib_lport_t r;
    if (dm_local_get_pinfo_by_lport_phyid(dm_lport_phyid_make(i % 2, i + 1), &r) == 0) {
        check(r.lport == i + 1 && r.medium_type == r.reserved[0] % 3 && r.type == r.reserved[0] % 8,
              "torn local port record", i);
    }
    const int dev = 1 + v % 2;
    const int lport = (v / 2) % 2;
    int got_dev = 0;
    int got_lport = 0;
    if (dm_get_devid_lport_from_phy_mgmt_ifx(mgmt_ifx(dev, lport, v), &got_dev, &got_lport) == 0) {
        check(got_dev == dev && got_lport == lport, "management port of ifx",
              mgmt_ifx(dev, lport, v));
    }
}

// A list is empty or one version whole: every entry names the same version
// and its own index.
void read_fc(bool save)
{
    dm_convert_cfg_t *cfg = nullptr;
    int num = 0;
    const int r = save ? dm_get_fc_save_cfg(&cfg, &num) : dm_get_fc_startup_cfg(&cfg, &num);
    check(r == 0 && num >= 0 && num <= 5, "port-conversion list of", num);
    for (int i = 0; i < num; ++i) {
        check(cfg[i].phyid == cfg[0].phyid && cfg[i].type == i, "torn port-conversion list", i);
    }
    std::free(cfg);
}

void read_chipids()
{
    std::vector<dm_chipid_alloc_t> list(2048);
    int num = 2048;
    check(dm_get_alloced_chipid(list.data(), &num) == 0, "allocation list refused", num);
    for (int i = 0; i < num; ++i) {
        const dm_chipid_alloc_t &a = list[static_cast<size_t>(i)];
        check(a.node == dm_get_phyid_from_gslot(slot_of_id(a.chipid)) &&
                  (i == 0 || a.chipid > list[i - 1].chipid),
              "allocation list entry for chip ID", a.chipid);
    }
    for (int g : kChipSlots) {
        int owner = 0;
        int unit = 0;
        if (dm_get_node_unit_from_chipid(slot_first_id(g), &owner, &unit) == 0) {
            check(owner == dm_get_phyid_from_gslot(g), "owner of chip ID", slot_first_id(g));
        }
    }
}

void reader(int id, const std::atomic<bool> &stop, std::atomic<long> &reads)
{
    static const int shows[] = {DP_LIB_DBG_SHOW_ALL_PORT, DP_LIB_DBG_SHOW_MGMT,
                                DP_LIB_DBG_SHOW_FC_START_CFG, DP_LIB_DBG_SHOW_FC_SAVE_CFG};
    unsigned seed = 777u + static_cast<unsigned>(id);
    while (!stop.load()) {
        seed = seed * 1103515245u + 12345u;
        const int k = static_cast<int>((seed >> 8) % kPorts);
        const int v = static_cast<int>((seed >> 16) & 0xFF);
        read_ports(k, v);
        read_cards(1 + k % kCardTypes);
        read_local_and_mgmt_ports(k % 6, v);
        read_fc(v % 2 == 0);
        read_chipids();
        dm_host_show(shows[v % 4]);  // a show walks its whole table under the read lock
        reads.fetch_add(1);
    }
}

// ---- writers: one round each of what one host thread sends ------------------

void write_ports(int r)
{
    for (int k = 0; k < kPorts; ++k) {
        const dp_lib_port_t p = port_record(k, r * 3 + k % 3);
        if ((r + k) % 5 == 0) {
            dmtest::send(DP_LIB_MSG_PORT_RMV, p.phyid);
        } else if ((r + k) % 5 == 1) {
            dmtest::send(DP_LIB_MSG_PORT_IFX,
                         dp_lib_port_ifx_msg_t{p.phyid, port_ifx(k, r * 3 + k % 3 + 1)});
        } else {
            dmtest::send(DP_LIB_MSG_PORT_INFO, p);
        }
    }
    if (r == kMinRounds / 2) {
        dp_lib_per_inst_info_t list = {};
        list.len = 1;
        list.info[0] = {1, 2, 2, 0};
        dmtest::send(DP_LIB_MSG_PORT_PRE_INST_DONE, list);
    }
}

void write_config(int r)
{
    dmtest::send(DP_LIB_MSG_CARD_CFG, card_record(1 + r % kCardTypes, r));
    const int chip = r % kChipTypes;
    dmtest::send(DP_LIB_MSG_CHIP_CFG, dp_lib_chip_info_t{chip, chip + kChipTypes * r, 0, 1 + chip});
    send_lport_list(r);
    const int dev = 1 + r % 2;
    const int lport = (r / 2) % 2;
    dmtest::send(DP_LIB_MSG_PHY_MGMT_IFX,
                 dp_lib_phy_mgmt_ifx_msg_t{dev, mgmt_ifx(dev, lport, r), lport, 0, {}});
}

// Port-validity requests and debug options, as the host's threads send them.
void write_request(int r)
{
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
    check(
        ack == 8 && reply[0] == 0 && reply[1] == (dm_node_make(1, 1 + r % 3) ^ (r % 48) ^ (r % 2)),
        "port-validity reply of round", r);
    dm_host_run_dbg_init(r % 2 == 0 ? "fcdbg 4" : "nothing");
    dm_host_show(DP_LIB_FC_DBG_LEVEL);
}

std::vector<delivered_event> wait_for_events(size_t n)
{
    const auto deadline = clock_type::now() + std::chrono::seconds(20);
    while (dm_host_events_delivered() < n && clock_type::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    // Anything raised more than once would arrive by now as well.
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    std::lock_guard<std::mutex> g(events_mu);
    return delivered;
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

    const std::function<void(int)> writers[] = {
        write_ports,
        write_config,
        write_request,
        [](int r) { send_fc_list(false, r); },
        [](int r) { send_fc_list(true, r); },
        write_chipids,
    };
    std::vector<int> rounds(std::size(writers));
    std::atomic<bool> stop{false};
    std::atomic<long> reads{0};
    // Standard output goes to /dev/null meanwhile: the shows print whatever the level.
    std::fflush(stdout);
    const int saved_stdout = dup(1);
    const int null_fd = open("/dev/null", O_WRONLY);
    dup2(null_fd, 1);
    std::vector<std::thread> threads;
    for (int i = 0; i < kReaders; ++i) {
        threads.emplace_back(reader, i, std::cref(stop), std::ref(reads));
    }
    const auto start = clock_type::now();
    for (size_t w = 0; w < std::size(writers); ++w) {
        threads.emplace_back([&, w] {
            for (; rounds[w] < kMinRounds || clock_type::now() - start < kRunTime; ++rounds[w]) {
                writers[w](rounds[w]);
            }
        });
    }
    for (size_t i = kReaders; i < threads.size(); ++i) {
        threads[i].join();
    }
    stop.store(true);
    for (int i = 0; i < kReaders; ++i) {
        threads[static_cast<size_t>(i)].join();
    }
    std::fflush(stdout);
    dup2(saved_stdout, 1);
    close(saved_stdout);
    close(null_fd);
    EXPECT_EQ(bad_count, 0) << testing::PrintToString(bad);
    EXPECT_GT(reads.load(), 0);
    RecordProperty("reads", static_cast<int>(reads.load()));
    RecordProperty("writer_rounds", testing::PrintToString(rounds));

    // Every event raised reaches the application once, on the event thread:
    // the chip-ID events in the order the one chip-ID thread caused them, one
    // event per committed port-conversion list, and the pre-installed event.
    const std::map<int, size_t> want = {{DEV_MSG_CHIPIP_ALLOC, chip_events.size()},
                                        {DEV_MSG_FC_START_CFG_OVER, rounds[3]},
                                        {DEV_MSG_FC_SAVE_CFG, rounds[4]},
                                        {DEV_MSG_PRE_INST_PORT_SYNC_DONE, 1}};
    const size_t want_total = chip_events.size() + rounds[3] + rounds[4] + 1;
    const std::vector<delivered_event> got = wait_for_events(want_total);
    std::map<int, size_t> per_kind;
    std::vector<alloc_event> got_alloc;
    for (const delivered_event &e : got) {
        ++per_kind[e.msg_id];
        EXPECT_TRUE(pthread_equal(e.thread, got.front().thread));
        EXPECT_EQ(e.thread_name, "lib_eventpd_dm");
        const bool alloc = e.msg_id == DEV_MSG_CHIPIP_ALLOC;
        ASSERT_EQ(e.data.size(), alloc ? sizeof(dm_chipid_alloc_t) : 0) << e.msg_id;
        if (alloc) {
            dm_chipid_alloc_t a;
            std::memcpy(&a, e.data.data(), sizeof a);
            got_alloc.push_back({a.chipid, a.node, a.unit, a.node_type});
        }
    }
    EXPECT_EQ(per_kind, want);
    EXPECT_EQ(dm_host_events_delivered(), want_total);
    EXPECT_EQ(got_alloc, chip_events);
}

}  // namespace
