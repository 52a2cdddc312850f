// A full life of the library in one process, for the leak check
// (tests/leak.cmake runs it under valgrind, or under LeakSanitizer in an
// AddressSanitizer build): every data-message kind, refreshed, replaced and
// removed; chip-ID data allocated, changed and released; batch ends; the
// port-validity request; the debug option; every show command; every
// exported query, with every array it hands out freed as its caller must;
// refused messages of every kind; and the kernel channel. Device events
// flow to the application on the event thread.
//
// What stays allocated at exit must be only the tables that live as long as
// the process (docs/decisions.md lists them); the checker decides that. The
// program itself checks that no file descriptor was left open.
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "dm_host_ctl.h"
#include <dm_lib_pd/dm_lib_pd.h>

namespace {

std::atomic<int> events{0};

int on_event(dev_msg_t *)
{
    events.fetch_add(1);
    return 0;
}

int on_rpc(dev_msg_t *, void *ret_buf, int buf_len, int *ret_len)
{
    if (buf_len < 4) {
        return -1;
    }
    const int32_t answer = 1;
    std::memcpy(ret_buf, &answer, sizeof answer);
    *ret_len = 4;
    return 0;
}

int failures = 0;

void expect(bool ok, const char *what)
{
    if (!ok) {
        std::fprintf(stderr, "leak scenario: %s\n", what);
        ++failures;
    }
}

int open_fds()
{
    int n = 0;
    DIR *d = opendir("/proc/self/fd");
    if (d == nullptr) {
        return -1;
    }
    while (readdir(d) != nullptr) {
        ++n;
    }
    closedir(d);
    return n;
}

template <class T>
void send(int msgid, const T &payload)
{
    dm_host_send_msg(msgid, &payload, static_cast<int>(sizeof payload));
}

void send_bytes(int msgid, const std::vector<uint8_t> &payload)
{
    dm_host_send_msg(msgid, payload.data(), static_cast<int>(payload.size()));
}

template <class T>
void append(std::vector<uint8_t> &buf, const T &v)
{
    const auto *b = reinterpret_cast<const uint8_t *>(&v);
    buf.insert(buf.end(), b, b + sizeof v);
}

dp_lib_port_split_info_t split_of(int first_child)
{
    dp_lib_port_split_info_t s = {};
    s.split_mode_num = 2;
    s.def_split_mode = 1;
    s.split_mode_id[0] = 1;
    s.split_mode_id[1] = 2;
    s.split_mode_port_num[0] = 4;
    s.split_mode_port_num[1] = 2;
    for (int i = 0; i < 6; ++i) {
        s.child_port_lport[i] = static_cast<uint8_t>(first_child + i);
    }
    return s;
}

dp_lib_port_t port(int slot, int unit, int cport, int lport, int ifx, int lsm_key)
{
    dp_lib_port_t p = {};
    p.ifx = ifx;
    p.phyid = dm_phyid_make(1, slot, unit, cport);
    p.ss_phyid = dm_slot_lport_phyid(1, slot, lport);
    p.node = dm_node_make(1, slot);
    p.devid = 1;
    p.slotid = slot;
    p.portid = lport;
    p.l_chipid = unit;
    p.chip_portid = cport;
    p.type = PORT_GIGABIT_ETHERNET;
    p.lsm_key = lsm_key;
    p.lsm_user_slot = slot;
    if (lport == 1) {
        p.is_parent = 1;
        p.split_info = split_of(2);
    }
    return p;
}

dp_lib_card_type_info_t card(int type, int ports)
{
    dp_lib_card_type_info_t c = {};
    c.card_type = type;
    c.port_num = ports;
    c.chip_num = 2;
    c.chip_types[0] = 1;
    c.chip_types[1] = 2;
    std::snprintf(c.name, sizeof c.name, "card%d", type);
    c.poe_support = 1;
    c.node_type = DM_TYPE_LC;
    for (int l = 0; l < DP_LIB_CARD_LPORT_MAX; ++l) {
        c.lport_unit[l] = static_cast<int8_t>(l >= 1 && l <= ports ? l % 2 : -1);
        c.chip_port[l] = l >= 1 && l <= ports ? l : -1;
        c.lport_poe_support[l] = static_cast<uint8_t>(l % 2);
    }
    return c;
}

void send_lports(int n)
{
    std::vector<uint8_t> payload;
    append(payload, static_cast<int32_t>(n));
    for (int i = 0; i < n; ++i) {
        dp_lib_lport_t r = {};
        r.lport_phyid = dm_lport_phyid_make(i % 2, i + 1);
        r.lport = static_cast<uint8_t>(i + 1);
        r.medium_type = static_cast<uint8_t>(i % 3);
        r.is_parent = i == 0;
        r.split_info = split_of(2);
        append(payload, r);
    }
    send_bytes(DP_LIB_MSG_MY_LPORT_CFG, payload);
}

void send_fc(bool save, int num)
{
    send(save ? DP_LIB_MSG_FC_SAVE_CFG_BEGIN : DP_LIB_MSG_FC_START_CFG_BEGIN,
         static_cast<int32_t>(num));
    if (num > 0) {
        std::vector<uint8_t> chunk;
        append(chunk, dp_lib_fc_cfg_info_t{0, num - 1});
        for (int i = 0; i < num; ++i) {
            append(chunk, dm_convert_cfg_t{dm_slot_lport_phyid(1, 1, i + 1), PORT_FC});
        }
        send_bytes(save ? DP_LIB_MSG_FC_SAVE_CFG : DP_LIB_MSG_FC_START_CFG, chunk);
    }
    dm_host_send_msg(save ? DP_LIB_MSG_FC_SAVE_CFG_OVER : DP_LIB_MSG_FC_START_CFG_OVER, nullptr, 0);
}

void send_chipids(int type, std::vector<chipid_slot_t> recs)
{
    std::vector<uint8_t> buf;
    append(buf, addr_lib_sync_head_t{static_cast<int32_t>(12 + 48 * recs.size()), type,
                                     static_cast<int32_t>(recs.size())});
    for (const chipid_slot_t &r : recs) {
        append(buf, r);
    }
    dm_host_addr_data(buf.data(), static_cast<int>(buf.size()));
}

chipid_slot_t slot(int status, int gslot, int first, int n, int per_unit)
{
    chipid_slot_t r = {};
    r.status = status;
    r.gslot = gslot;
    r.card_type = 10;
    r.idnum_per_unit = static_cast<uint16_t>(per_unit);
    r.id_num = static_cast<uint16_t>(n);
    for (int i = 0; i < n; ++i) {
        r.id[i] = static_cast<uint16_t>(first + i);
    }
    return r;
}

void messages()
{
    send(DP_LIB_MSG_CARD_CFG, card(10, 8));
    send(DP_LIB_MSG_CARD_CFG, card(11, 4));
    send(DP_LIB_MSG_CARD_CFG, card(10, 6));  // the same type again
    send(DP_LIB_MSG_CHIP_CFG, dp_lib_chip_info_t{1, 3, 255, 0});
    send(DP_LIB_MSG_CHIP_CFG, dp_lib_chip_info_t{2, 4, 127, 1});
    send(DP_LIB_MSG_CHIP_CFG, dp_lib_chip_info_t{1, 5, 255, 0});
    send_lports(4);
    send_lports(6);  // replaces the list
    for (int i = 1; i <= 6; ++i) {
        send(DP_LIB_MSG_PORT_INFO, port(1, i % 2, i, i, 0x100 + i, i));
        send(DP_LIB_MSG_PORT_INFO, port(2, i % 2, i, i, 0x200 + i, 10 + i));
    }
    send(DP_LIB_MSG_PORT_INFO, port(1, 1, 1, 1, 0x101, 1));  // refresh
    send(DP_LIB_MSG_PORT_INFO, port(1, 0, 7, 2, 0x102, 2));  // takes another port's keys
    send(DP_LIB_MSG_PORT_IFX, dp_lib_port_ifx_msg_t{dm_phyid_make(1, 2, 1, 3), 0x301});
    send(DP_LIB_MSG_PORT_IFX, dp_lib_port_ifx_msg_t{dm_phyid_make(1, 2, 0, 4), 0});
    send(DP_LIB_MSG_PORT_RMV, static_cast<int32_t>(dm_phyid_make(1, 2, 0, 6)));
    send(DP_LIB_MSG_PORT_RMV, static_cast<int32_t>(dm_phyid_make(1, 9, 0, 6)));  // unknown
    for (int dev = 1; dev <= 2; ++dev) {
        for (int lport = 0; lport < 2; ++lport) {
            send(DP_LIB_MSG_PHY_MGMT_IFX,
                 dp_lib_phy_mgmt_ifx_msg_t{
                     dev, static_cast<IFINDEX>(0x400 + dev * 2 + lport), lport, 0, {}});
        }
    }
    send_fc(false, 3);
    send_fc(false, 2);  // the committed list is replaced
    send_fc(true, 1);
    send_fc(true, 0);
    send_fc(true, 2);
    dp_lib_per_inst_info_t pre = {};
    pre.len = 1;
    pre.info[0] = {1, 1, 1, 0};
    send(DP_LIB_MSG_PORT_PRE_INST_DONE, pre);
    send(DP_LIB_MSG_PORT_PRE_INST_DONE, pre);  // taken once

    send_chipids(ADDR_LIB_BS_SYNC,
                 {slot(CHIPID_VALID, 1, 40, 2, 1), slot(CHIPID_VALID, 2, 50, 4, 2)});
    dm_host_batch(SYNC_BATCH_BEGIN);
    dm_host_batch(SYNC_BATCH_OVER);
    dm_host_set_bs_over(true);
    send_chipids(ADDR_LIB_REAL_SYNC, {slot(CHIPID_VALID, 2, 50, 5, 2)});
    send_chipids(ADDR_LIB_REAL_SYNC, {slot(CHIPID_VALID, 3, 60, 1, 1)});
    send_chipids(ADDR_LIB_REAL_SYNC, {slot(CHIPID_NONE, 3, 0, 0, 1)});
    dm_host_addr_batch(0);

    struct {
        dp_lib_msg_h_t head;
        dm_port_valid_t req;
        uint8_t room[128];
    } rpc = {};
    rpc.head = {0, DP_LIB_MSG_PORT_VALID, DP_LIB_MOD_PD, static_cast<int32_t>(sizeof rpc.req)};
    rpc.req = {dm_node_make(1, 1), 3, 1, {}};
    int ack = 0;
    dm_host_send_rpc(&rpc, static_cast<int>(sizeof rpc.head + sizeof rpc.req), &ack);
    expect(ack == 8, "port-validity reply");
    dm_host_run_dbg_init("fcdbg 3");
    dm_host_run_dbg_init(nullptr);
}

// Refused messages of every kind: each must free whatever it allocated.
void refused_messages()
{
    const uint8_t junk[64] = {1, 2, 3};
    for (int msgid = 0; msgid < DP_LIB_PD_MSG_MAX; ++msgid) {
        dm_host_send_msg(msgid, junk, 2);  // shorter than any payload
    }
    dm_host_send_msg(99, junk, 8);
    dm_host_send_data(junk, 10);
    send(DP_LIB_MSG_MY_LPORT_CFG, static_cast<int32_t>(-1));
    send_lports(3);
    send(DP_LIB_MSG_FC_START_CFG_BEGIN, static_cast<int32_t>(-5));
    send_chipids(ADDR_LIB_BS_SYNC, {slot(CHIPID_VALID, 64, 70, 1, 1)});
    send_chipids(ADDR_LIB_DCM_READY_NOTIFY, {});
    dm_host_addr_data(junk, 5);
}

void free_ints(int *p) { std::free(p); }

void queries()
{
    const int ss = dm_slot_lport_phyid(1, 1, 1);
    const int up = dm_unit_port_phyid(1, 1, 1, 1);
    const int node = dm_node_make(1, 1);
    int a = 0;
    int b = 0;
    int c = 0;
    int d = 0;
    bool flag = false;
    dm_port_t p;
    dp_lib_lport_t lrec;
    dp_lib_card_type_info_t crec;
    int *arr = nullptr;
    std::vector<int> big(2048);
    std::vector<int> more(DP_LIB_SPLIT_CHILD_MAX);
    std::vector<int> modes(DP_LIB_SPLIT_MODE_MAX);
    std::vector<int> nums(DP_LIB_SPLIT_MODE_MAX);

    dm_get_pinfo_by_ifx(0x101, &p);
    dm_port_is_on_local_switch(0x101);
    dm_get_phyid_from_ifx(0x101, &a);
    dm_get_phyid_from_ifx(0x999, &a);  // asks the kernel
    dm_get_chipid_port_from_phyid(up, &a, &b);
    dm_get_pinfo_by_phyid(ss, &p);
    dm_get_subcard_node_by_phyid(ss, &a);
    dm_get_ifindex_from_phyid(dm_slot_lport_phyid(1, 2, 4), &a);  // asks the kernel
    dm_get_unit_port_from_phyid(ss, &a, &b);
    dm_get_node_lport_from_phyid(up, &a, &b);
    dm_get_sub_node_from_port_phyid(ss, &a);
    dm_get_port_medium_switch(ss, &flag);
    dm_get_port_medium_type(ss, &a);
    dm_get_port_type(ss, &a);
    dm_port_is_on_local_device(ss);
    dm_get_card_port_num(node);
    dm_get_phyid_by_slot_unit_port(1, 1, 1, 1, &a);
    dm_get_phyid_by_slot_lport(1, 1, 1, &a);
    dm_is_llcb_type_support(1);

    dm_local_get_child_unit_port_by_spe_mode(1, 1, &a, more.data(), &b);
    dm_local_get_child_unit_port_from_lport(1, &a, more.data(), &b);
    dm_local_get_child_unit_port_with_all_mode(1, &a, modes.data(), more.data(), nums.data());
    dm_get_child_unit_port_by_spe_mode(node, 1, -1, &a, more.data(), &b);
    dm_get_child_unit_port_from_node_lport(node, 1, &a, more.data(), &b);
    dm_get_child_unit_port_with_all_mode(node, 1, &a, modes.data(), nums.data(), more.data());
    dm_get_child_unit_port_by_spe_mode_gms(node, 1, 1, &a, more.data(), &b);
    dm_get_child_unit_port_from_node_lport_gms(node, 1, &a, more.data(), &b);
    dm_get_child_unit_port_with_all_mode_gms(node, 1, &a, modes.data(), nums.data(), more.data());

    dm_get_devid_from_phy_mgmt_ifx(0x402);
    dm_get_devid_lport_from_phy_mgmt_ifx(0x402, &a, &b);
    const int mgmt = dm_get_phy_mgmt_phyid_from_dev_slot(1, 30);
    dm_phyid_is_phy_mgmt_phyid(mgmt);
    dm_get_node_from_phy_mgmt_phyid(mgmt);
    dm_get_phy_mgmt_phyid_from_dev_slot_lport(1, 31, 1);
    dm_get_dev_slot_from_phy_mgmt_phyid(mgmt, &a, &b);
    dm_get_dev_slot_lport_from_phy_mgmt_phyid(mgmt, &a, &b, &c);
    b = 4;
    dm_get_phyid_list_from_phy_mgmt_ifx(0x402, big.data(), &b);
    b = 4;
    dm_get_phyid_from_phy_mgmt_ifx(0x402, big.data(), &b);
    dm_lib_show_phy_mgmt_ifx(1);
    dm_lib_test_phy_mgmt_ifx_intf();
    utest_dm_get_phyid(0x402);

    dm_get_pre_inst_by_phyid(ss, &flag);
    dm_get_min_port_num(1, 1, &a);
    dm_get_max_port_num(1, 1, &a);
    dm_get_local_card_max_port(1, 0, &a);
    dm_local_check_slot_lport(1, 2);
    dm_get_dev_type_from_port_phyid(ss, &a);
    dm_get_poe_support_by_phyid(ss, &flag);
    dm_get_chip_cmic_port(40);

    dm_lib_get_card_cfg_by_type(10, &crec);
    dm_get_card_port_num_by_type(10);
    dm_get_switch_chip_num_by_card_type(10);
    dm_get_poe_support_by_card_type(10, &flag);
    b = DP_LIB_CARD_LPORT_MAX;
    dm_get_poe_support_port(10, big.data(), &b);
    if (dm_get_chip_type_by_card_type(10, &arr, &b) == 0) {
        free_ints(arr);
    }
    char name[32];
    dm_get_card_name_by_type(10, name, sizeof name);
    dm_get_max_port_by_unit(0);
    if (dm_get_my_lchips(&arr) >= 0) {
        free_ints(arr);
    }
    dm_get_chip_family(1);
    dm_get_chip_cmic_port_by_type(1);
    dm_get_lchip_family_by_unit(0);
    dm_get_invalid_port(0);
    if (dm_get_port_bmp_from_chipid(40, &arr, &b) == 0) {
        free_ints(arr);
    }

    dm_get_my_lport_num();
    dm_get_my_lport_num_by_sub_slot(0, &a);
    b = 8;
    dm_get_my_card_multi_lport(big.data(), &b);
    dm_local_get_slot_lport_from_unit_port(1, 1, &a, &b);
    dm_local_get_unit_port_from_slot_lport(dm_get_gslot_from_lslot(1, 1, 0), 1, &a, &b);
    dm_local_get_pinfo_by_lport_phyid(dm_lport_phyid_make(0, 1), &lrec);
    dm_show_all_local_port();

    dm_phyid_is_global(ss, &flag);
    const int lphyid = dm_get_lphyid_from_phyid(ss);
    dm_get_phyid_from_lphyid(lphyid);
    dm_get_lphyid_from_unit_port(1, 1);
    dm_get_unit_port_from_lphyid(lphyid, &a, &b);
    dm_local_get_pinfo_by_lphyid(lphyid, &lrec);

    std::vector<dm_chipid_alloc_t> alloc(2048);
    b = 2048;
    dm_get_alloced_chipid(alloc.data(), &b);
    dm_get_first_chipid_from_node(node, &a);
    dm_get_first_chipid_from_unit_node(0, node, &a);
    dm_get_first_chipid_from_local_unit(0, &a);
    b = 16;
    dm_get_chipid_range_by_node(node, big.data(), &b);
    b = 16;
    dm_get_chipid_from_unit_node(0, node, big.data(), &b);
    dm_get_node_unit_from_chipid(50, &a, &b);
    dm_is_local_chipid(40);
    dm_get_chipid_range_by_dev(1, big.data(), &b);
    dm_get_system_invalid_chipid();
    dm_get_system_reserved_chipid_range(&a, &b);
    dm_get_zone_reserved_chipid_range(&a, &b);
    const int dune = dm_get_dune_static_chipid(1, 3, 1);
    dm_get_dev_slot_unit_by_dune_chipid(dune, &a, &b, &c);
    dm_get_sysport_from_dev_slot_unit_port(1, 3, 1, 7, &d);
    dm_get_dev_slot_unit_port_from_sysport(d, &a, &b, &c, &d);

    dm_convert_cfg_t *cfg = nullptr;
    expect(dm_get_fc_startup_cfg(&cfg, &b) == 0 && b == 2, "startup list");
    std::free(cfg);
    expect(dm_get_fc_save_cfg(&cfg, &b) == 0 && b == 2, "saved list");
    std::free(cfg);
}

// Changes into a new directory with the device file, so the kernel channel
// opens and closes a real descriptor; removes it all at the end.
class device_dir {
public:
    device_dir()
    {
        char templ[] = "/tmp/dm_leak_XXXXXX";
        path_ = mkdtemp(templ) != nullptr ? templ : "";
        if (getcwd(old_, sizeof old_) == nullptr || path_.empty() || chdir(path_.c_str()) != 0) {
            expect(false, "scratch directory");
            return;
        }
        mkdir("tmp", 0755);
        const int fd = open("tmp/dm_dev", O_CREAT | O_WRONLY, 0644);
        close(fd);
        dm_host_kdev_set_ifx(4, 1, 0x777);
        dm_host_kdev_set_lsm_key(0x999, 1);
        dm_host_kdev_attach(true);
    }
    ~device_dir()
    {
        dm_host_kdev_attach(false);
        dm_host_kdev_clear();
        unlink("tmp/dm_dev");
        rmdir("tmp");
        if (chdir(old_) == 0) {
            rmdir(path_.c_str());
        }
    }
    device_dir(const device_dir &) = delete;
    device_dir &operator=(const device_dir &) = delete;

private:
    std::string path_;
    char old_[4096] = {};
};

}  // namespace

int main()
{
    // Shows print their tables: keep the test's output short.
    if (std::freopen("/dev/null", "w", stdout) == nullptr) {
        return 2;
    }
    const int fds_before = open_fds();
    dm_host_set_dbg_level(LIB_DBG_VERBOSE);  // every diagnostic is formatted
    dm_host_set_my_card(dm_node_make(1, 1), dm_get_gslot_from_lslot(1, 1, 0), 10, DM_TYPE_LC);
    dm_host_set_card(dm_node_make(1, 2), 11, 11, DM_TYPE_LC);
    expect(dm_reg_dev_event_handler_pd(on_event) == 0, "event handler");
    expect(dm_reg_dev_rpc_handler_pd(on_rpc) == 0, "rpc handler");
    expect(dm_host_run_init() == 0, "initialiser");
    {
        device_dir dir;
        messages();
        refused_messages();
        queries();
        for (int para = 0; para < DP_LIB_SHOW_PARAM_MAX; ++para) {
            dm_host_show(para);
        }
    }
    // Let the event thread deliver what was raised: 2 + 4 chip-ID events at
    // the batch end, 5 + 1 for the changed slots, 2 + 3 committed lists, the
    // pre-installed cards, and the two list overs among the short messages
    // (an over reads no payload).
    const int want = 20;
    for (int i = 0; i < 200 && events.load() < want; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    expect(events.load() == want, "events delivered");
    expect(open_fds() == fds_before, "a file descriptor was left open");
    dm_host_batch_steps_clear();
    dm_host_log_clear();
    return failures == 0 ? 0 : 1;
}
