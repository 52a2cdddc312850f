// Physical management ports: the interface index of each management port of
// devices 1 and 2 (data message 7), the management mode, the conversions
// between interface index, management-port phyid (form 15), node and
// device/slot/port, and the show command, self-test and log test over them.
#include "dm_phy_mgmt.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "dm_diag.h"
#include "dm_lock.h"
#include <dm_lib_pd/dm_ids.h>

namespace {

constexpr int kMgmtDevRows = 3;  // row 0 unused: rows are device ids 1 and 2
constexpr int kMgmtDevFirst = 1;
constexpr int kMgmtDevLast = 2;
constexpr int kMgmtLports = 2;              // management ports 0 and 1 of a board
constexpr int kMgmtSlotA = DM_MB_SLOT_LOW;  // the two management-board slots
constexpr int kMgmtSlotB = DM_MB_SLOT_HIGH;
constexpr int kMgmtPhyidLen = 2;  // phyids of one device (slots 30 and 31)
constexpr int kMgmtListLen = 4;   // phyids of both devices

// Guards the interface-index table and the writes of the mode.
dm_rwlock dm_phy_mgmt_rwlock;
IFINDEX dm_phy_mgmt_ifx[kMgmtDevRows][kMgmtLports] DM_GUARDED_BY(dm_phy_mgmt_rwlock);
// 0: an interface index stands for its own device's management ports only;
// otherwise for that port number on every device. Written under the lock,
// but the phyid query reads it on its own, so it is an atomic integer.
std::atomic<int> dm_phy_mgmt_ifx_mode{0};

using mgmt_table_t = IFINDEX[kMgmtDevRows][kMgmtLports];

bool dm_mgmt_dev_ok(int dev) { return dev >= kMgmtDevFirst && dev <= kMgmtDevLast; }
bool dm_mgmt_lport_ok(int lport) { return lport >= 0 && lport < kMgmtLports; }
// A management board sits in slot 30, 31 or 0 of its device.
bool dm_mgmt_lslot_ok(int lslot) { return dm_lslot_is_mgmt_board(lslot); }

constexpr int dm_mgmt_phyid(int dev, int slot, int lport)
{
    return static_cast<int>((static_cast<unsigned>(DM_PHYID_FORM_PHY_MGMT) << 24) |
                            (static_cast<unsigned>(dev) << 16) |
                            (static_cast<unsigned>(slot) << 8) | static_cast<unsigned>(lport));
}
static_assert(dm_mgmt_phyid(1, 30, 1) == 0x0F011E01);

int dm_mgmt_byte(int phyid, int shift)
{
    return static_cast<int>((static_cast<unsigned>(phyid) >> shift) & 0xFFu);
}

void dm_mgmt_snapshot(mgmt_table_t *out)
{
    dm_read_guard guard(dm_phy_mgmt_rwlock);
    std::memcpy(out, dm_phy_mgmt_ifx, sizeof dm_phy_mgmt_ifx);
}

// Device and port of an interface index. Within a device the first port
// wins; a match in device 2 replaces one in device 1.
bool dm_mgmt_find(IFINDEX ifx, int *dev_out, int *lport_out)
{
    mgmt_table_t snap;
    dm_mgmt_snapshot(&snap);
    bool found = false;
    for (int dev = kMgmtDevFirst; dev <= kMgmtDevLast; ++dev) {
        for (int lport = 0; lport < kMgmtLports; ++lport) {
            if (snap[dev][lport] == ifx) {
                *dev_out = dev;
                *lport_out = lport;
                found = true;
                break;
            }
        }
    }
    return found;
}

// Builders accept a slot in gslot form with sub-slot 0 and a management
// lslot. The system places the slot unmasked above the port byte, so a slot
// of 256 or more would overwrite the device byte and the form: such a slot
// (and a negative one) is refused as well, so a built phyid is always valid.
bool dm_mgmt_slot_ok(int slot_id)
{
    return slot_id >= 0 && slot_id <= 0xFF && dm_get_sslot_from_gslot(slot_id) == 0 &&
           dm_mgmt_lslot_ok(dm_get_lslot_from_gslot(slot_id));
}

// One failed check of the self-test: prints its line and fails the verdict.
__attribute__((format(printf, 2, 3))) void dm_mgmt_fail(bool *pass, const char *fmt, ...)
{
    va_list ap;
    va_start(ap, fmt);
    std::vprintf(fmt, ap);
    va_end(ap);
    *pass = false;
}

void dm_mgmt_test_phyid(bool *pass, int phyid)
{
    int dev = -1;
    int slot = -1;
    if (dm_get_dev_slot_from_phy_mgmt_phyid(phyid, &dev, &slot) != 0) {
        dm_mgmt_fail(pass, "dm_get_dev_slot_from_phy_mgmt_phyid fail. phyid:0x%x\r\n", phyid);
    } else {
        const int node = dm_node_make(dev, slot);
        const int got = dm_get_node_from_phy_mgmt_phyid(phyid);
        if (got != node) {
            dm_mgmt_fail(
                pass, "dm_get_node_from_phy_mgmt_phyid fail. phyid:0x%x, node:0x%x, ret:0x%x\r\n",
                phyid, node, got);
        }
    }
    int lport = -1;
    const int ret = dm_get_dev_slot_lport_from_phy_mgmt_phyid(phyid, &dev, &slot, &lport);
    if (ret != 0) {
        dm_mgmt_fail(pass, "dm_get_dev_slot_lport_from_phy_mgmt_phyid fail. phyid:0x%x, ret:%d\r\n",
                     phyid, ret);
        return;
    }
    int back = dm_get_phy_mgmt_phyid_from_dev_slot_lport(dev, slot, lport);
    if (back != phyid) {
        dm_mgmt_fail(pass, "dm_get_phy_mgmt_phyid_from_dev_slot_lport fail. ret=%d\r\n", back);
    }
    if (lport == 0) {
        back = dm_get_phy_mgmt_phyid_from_dev_slot(dev, slot);
        if (back != phyid) {
            dm_mgmt_fail(pass, "dm_get_phy_mgmt_phyid_from_dev_slot_lport fail. ret=%d\r\n", back);
        }
    }
}

void dm_mgmt_test_entry(bool *pass, int dev, int lport, IFINDEX ifx)
{
    std::printf("------dev:%d, lport:%d, ifx:%d---------\r\n", dev, lport, static_cast<int>(ifx));
    const int got_dev = dm_get_devid_from_phy_mgmt_ifx(ifx);
    if (got_dev != dev) {
        dm_mgmt_fail(pass, "dm_get_devid_from_phy_mgmt_ifx fail. ifx:%d, dev:%d\r\n",
                     static_cast<int>(ifx), got_dev);
    }
    int d = -1;
    int l = -1;
    int ret = dm_get_devid_lport_from_phy_mgmt_ifx(ifx, &d, &l);
    if (ret != 0 || d != dev || l != lport) {
        dm_mgmt_fail(pass,
                     "dm_get_devid_lport_from_phy_mgmt_ifx fail. ret:%d, dev:%d, lport:%d\r\n", ret,
                     d, l);
    }
    int phyid[kMgmtPhyidLen] = {0, 0};
    int num = kMgmtPhyidLen;
    ret = dm_get_phyid_from_phy_mgmt_ifx(ifx, phyid, &num);
    if (ret != 0 || num != kMgmtPhyidLen) {
        dm_mgmt_fail(pass, "dm_get_phyid_from_phy_mgmt_ifx fail. ret:%d, num:%d\r\n", ret, num);
        return;
    }
    for (int p : phyid) {
        dm_mgmt_test_phyid(pass, p);
    }
}

}  // namespace

void dm_phy_mgmt_clear(void)
{
    dm_write_guard guard(dm_phy_mgmt_rwlock);
    std::memset(dm_phy_mgmt_ifx, 0, sizeof dm_phy_mgmt_ifx);
}

void dp_lib_set_phy_mgmt_ifx(void *data)
{
    dp_lib_phy_mgmt_ifx_msg_t msg;
    if (!DM_TAKE_MSG(data, &msg)) {
        return;
    }
    DM_VERBOSE("dev_id = %d, ifx = %u!\n", msg.dev_id, msg.ifx);
    if (!dm_mgmt_dev_ok(msg.dev_id)) {
        DM_VERBOSE("invalid dev_id: %d\r\n", msg.dev_id);
        return;
    }
    if (!dm_mgmt_lport_ok(msg.lport)) {
        DM_VERBOSE("invalid lport:%d\r\n", msg.lport);
        return;
    }
    {
        dm_write_guard guard(dm_phy_mgmt_rwlock);
        dm_phy_mgmt_ifx[msg.dev_id][msg.lport] = msg.ifx;
        dm_phy_mgmt_ifx_mode.store(msg.mgmt_mode, std::memory_order_relaxed);
    }
    DM_LOGFILE("set mgmt mode : %d.", static_cast<int>(msg.mgmt_mode));
    DM_VERBOSE("set phy mgmt ifx ok!\r\n");
}

int dm_get_devid_from_phy_mgmt_ifx(IFINDEX ifx)
{
    if (ifx == 0) {
        DM_WARN("invalid ifx:%u\r\n", ifx);
        return -1;
    }
    DM_VERBOSE("ifx: %u\r\n", ifx);
    int dev = -1;
    int lport = -1;
    if (!dm_mgmt_find(ifx, &dev, &lport)) {
        dev = -1;
    }
    DM_VERBOSE("dev_id: %d\r\n", dev);
    return dev;
}

int dm_get_devid_lport_from_phy_mgmt_ifx(IFINDEX ifx, int *devid, int *lport)
{
    if (ifx == 0 || devid == nullptr || lport == nullptr) {
        DM_WARN("invalid param. (ifx:%u)\r\n", ifx);
        return -1;
    }
    DM_VERBOSE("ifx: %u\r\n", ifx);
    int dev = -1;
    int port = -1;
    int ret = -1;
    if (dm_mgmt_find(ifx, &dev, &port)) {
        *devid = dev;
        *lport = port;
        DM_VERBOSE("devid:%d, lport:%d\r\n", dev, port);
        ret = 0;
    }
    DM_VERBOSE("ret = %d\r\n", ret);
    return ret;
}

bool dm_phyid_is_phy_mgmt_phyid(int phyid)
{
    const int form = dm_phyid_form(phyid);
    const int dev = dm_mgmt_byte(phyid, 16);
    const int slot = dm_mgmt_byte(phyid, 8);
    const int index = dm_mgmt_byte(phyid, 0);
    DM_VERBOSE("phyid: 0x%x\r\n", phyid);
    DM_VERBOSE("dev_type:%d, dev:%d, lslot:%d, index:%d\r\n", form, dev, slot, index);
    if (form != DM_PHYID_FORM_PHY_MGMT) {
        DM_WARN("dev_type : %d! not phy mgmt port (%d)\r\n", form, DM_PHYID_FORM_PHY_MGMT);
        return false;
    }
    if (!dm_mgmt_dev_ok(dev)) {
        DM_WARN("dev : %d!\r\n", dev);
        return false;
    }
    // Bits 7..5 of the slot byte are not part of the test.
    if (!dm_mgmt_lslot_ok(dm_get_lslot_from_gslot(slot))) {
        DM_WARN("lslot : %d!\r\n", slot);
        return false;
    }
    if (!dm_mgmt_lport_ok(index)) {
        DM_WARN("index : %d!\r\n", index);
        return false;
    }
    DM_VERBOSE("phyid 0x%x is phy mgmt port\r\n", phyid);
    return true;
}

int dm_get_node_from_phy_mgmt_phyid(int phyid)
{
    if (!dm_phyid_is_phy_mgmt_phyid(phyid)) {
        DM_WARN("invalid phy mgmt phyid:0x%x\r\n", phyid);
        return -1;
    }
    DM_VERBOSE("phyid: 0x%x\r\n", phyid);
    const int node = dm_node_make(dm_mgmt_byte(phyid, 16), dm_mgmt_byte(phyid, 8));
    DM_VERBOSE("node: 0x%x\r\n", node);
    return node;
}

int dm_get_phy_mgmt_phyid_from_dev_slot(int dev_id, int slot_id)
{
    if (!dm_mgmt_dev_ok(dev_id) || !dm_mgmt_slot_ok(slot_id)) {
        DM_WARN("dev_id: %d, slot_id: %d\r\n", dev_id, slot_id);
        return -1;
    }
    const int phyid = dm_mgmt_phyid(dev_id, slot_id, 0);
    DM_VERBOSE("dev_id: %d, slot_id: %d, phyid: 0x%x\r\n", dev_id, slot_id, phyid);
    return phyid;
}

int dm_get_phy_mgmt_phyid_from_dev_slot_lport(int dev_id, int slot_id, int lport)
{
    if (!dm_mgmt_dev_ok(dev_id) || !dm_mgmt_slot_ok(slot_id) || !dm_mgmt_lport_ok(lport)) {
        DM_WARN("dev_id: %d, slot_id: %d, lport:%d\r\n", dev_id, slot_id, lport);
        return -1;
    }
    const int phyid = dm_mgmt_phyid(dev_id, slot_id, lport);
    DM_VERBOSE("dev_id: %d, slot_id: %d, lport: %d, phyid: 0x%x\r\n", dev_id, slot_id, lport,
               phyid);
    return phyid;
}

int dm_get_dev_slot_from_phy_mgmt_phyid(int phyid, int *dev_id, int *slot_id)
{
    if (dev_id == nullptr || slot_id == nullptr || !dm_phyid_is_phy_mgmt_phyid(phyid)) {
        DM_WARN("invalid parameter\r\n");
        return -1;
    }
    *dev_id = dm_mgmt_byte(phyid, 16);
    *slot_id = dm_mgmt_byte(phyid, 8);
    DM_VERBOSE("phyid: 0x%x, dev_id: %d, slot_id: %d\r\n", phyid, *dev_id, *slot_id);
    return 0;
}

int dm_get_dev_slot_lport_from_phy_mgmt_phyid(int phyid, int *dev_id, int *slot_id, int *lport)
{
    if (dev_id == nullptr || slot_id == nullptr || lport == nullptr ||
        !dm_phyid_is_phy_mgmt_phyid(phyid)) {
        DM_WARN("invalid parameter\r\n");
        return -1;
    }
    *dev_id = dm_mgmt_byte(phyid, 16);
    *slot_id = dm_mgmt_byte(phyid, 8);
    *lport = dm_mgmt_byte(phyid, 0);
    DM_VERBOSE("phyid: 0x%x, dev_id: %d, slot_id: %d, lport: %d\r\n", phyid, *dev_id, *slot_id,
               *lport);
    return 0;
}

int dm_get_phyid_list_from_phy_mgmt_ifx(IFINDEX ifx, int *phyid, int *num)
{
    if (ifx == 0 || phyid == nullptr || num == nullptr) {
        DM_WARN("input param is NULL\r\n");
        return -1;
    }
    if (*num < kMgmtListLen) {
        DM_WARN("num invalid\r\n");
        return -1;
    }
    int dev = -1;
    int lport = -1;
    const int ret = dm_get_devid_lport_from_phy_mgmt_ifx(ifx, &dev, &lport);
    if (ret != 0) {
        DM_WARN("ifx get devid fail, ret:%d\r\n", ret);
        return -1;
    }
    DM_WARN("ifx:%d, devid:%d, lport:%d\r\n", static_cast<int>(ifx), dev, lport);
    // Only devices 1 and 2 have management boards: the list stops after
    // device 2 whatever room the caller offers, so it never holds a phyid
    // that the validity test would refuse.
    int n = 0;
    for (int d = kMgmtDevFirst; d <= kMgmtDevLast; ++d) {
        for (int slot : {kMgmtSlotA, kMgmtSlotB}) {
            phyid[n] = dm_mgmt_phyid(d, slot, lport);
            DM_WARN("phyid (%d)\r\n", phyid[n]);
            ++n;
        }
    }
    *num = n;
    return 0;
}

int dm_get_phyid_from_phy_mgmt_ifx(IFINDEX ifx, int *phyid, int *num)
{
    if (dm_phy_mgmt_ifx_mode.load(std::memory_order_relaxed) != 0) {
        return dm_get_phyid_list_from_phy_mgmt_ifx(ifx, phyid, num);
    }
    if (ifx == 0 || phyid == nullptr || num == nullptr) {
        DM_WARN("invalid param\r\n");
        return -1;
    }
    if (*num < kMgmtPhyidLen) {
        DM_WARN("num:%d\r\n", *num);
        return -1;
    }
    int dev = -1;
    int lport = -1;
    if (dm_get_devid_lport_from_phy_mgmt_ifx(ifx, &dev, &lport) != 0) {
        DM_WARN("fail to get devid lport from ifx:%d\r\n", static_cast<int>(ifx));
        return -1;
    }
    phyid[0] = dm_mgmt_phyid(dev, kMgmtSlotA, lport);
    phyid[1] = dm_mgmt_phyid(dev, kMgmtSlotB, lport);
    *num = kMgmtPhyidLen;
    return 0;
}

void dm_lib_show_phy_mgmt_ifx(int dev_id)
{
    DM_VERBOSE("dev_id: %d\r\n", dev_id);
    mgmt_table_t snap;
    dm_mgmt_snapshot(&snap);
    if (dev_id == -1 || dm_mgmt_dev_ok(dev_id)) {
        const int first = dev_id == -1 ? kMgmtDevFirst : dev_id;
        const int last = dev_id == -1 ? kMgmtDevLast : dev_id;
        for (int dev = first; dev <= last; ++dev) {
            for (int lport = 0; lport < kMgmtLports; ++lport) {
                std::printf("dev_id: %d, lport:%d phy mgmt ifx: %u\r\n", dev, lport,
                            snap[dev][lport]);
            }
        }
    } else {
        DM_WARN("invalid dev_id: %d\r\n", dev_id);
    }
    dm_lib_test_phy_mgmt_ifx_intf();
}

void dm_lib_show_all_phy_mgmt_ifx(void) { dm_lib_show_phy_mgmt_ifx(-1); }

void dm_lib_test_phy_mgmt_ifx_intf(void)
{
    bool pass = true;
    mgmt_table_t snap;
    dm_mgmt_snapshot(&snap);
    for (int dev = kMgmtDevFirst; dev <= kMgmtDevLast; ++dev) {
        for (int lport = 0; lport < kMgmtLports; ++lport) {
            if (snap[dev][lport] != 0) {
                dm_mgmt_test_entry(&pass, dev, lport, snap[dev][lport]);
            }
        }
    }
    std::printf("test dm_lib_test_phy_mgmt_ifx_intf result : %s.\r\n", pass ? "pass" : "fail");
}

void utest_dm_get_phyid(IFINDEX ifx)
{
    // The query may write fewer than four entries (or none): the array is
    // cleared first so the log line shows 0 for every entry not written.
    int phyid[kMgmtListLen] = {0, 0, 0, 0};
    int num = kMgmtListLen;
    const int ret = dm_get_phyid_from_phy_mgmt_ifx(ifx, phyid, &num);
    DM_LOGFILE("ret[%d], num[%d] phyid[%x][%x][%x][%x].limit:%d", ret, num, phyid[0], phyid[1],
               phyid[2], phyid[3], kMgmtListLen);
}
