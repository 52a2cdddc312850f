// The chassis port table: one heap record per port, reachable through four
// keyed indexes; the handlers of the messages that add, re-key and remove
// ports; the record lookups every port query starts from; and the table's
// debug show.
#include "dm_dynamic_tbl.h"

#include <search.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "dm_diag.h"
#include "dm_lock.h"
#include <dm_lib_pd/dm_local_port.h>

namespace {

constexpr size_t kPortLen = sizeof(dp_lib_port_t);

// Guards the records' contents and the set of records as a whole; taken
// before any index lock (writers for a whole handler, readers for a lookup).
dm_rwlock dm_port_rwlock;
dm_index dm_ifx_root;            // ifx (never 0) -> record
dm_index dm_port_phyid_root;     // dm_phyid -> record; owns the records
dm_index dm_port_ss_phyid_root;  // slot_lport_phyid -> record
dm_index dm_port_lsm_key_root;   // lsm_key -> record

dp_lib_port_t *dm_port_find(dm_index &index, int key) DM_REQUIRES_SHARED(index)
{
    return static_cast<dp_lib_port_t *>(index.find(key));
}

int dm_port_index_insert(dm_index &index, int key, dp_lib_port_t *rec) DM_REQUIRES(dm_port_rwlock)
{
    dm_write_guard guard(index);
    return index.insert(key, rec);
}

void dm_port_index_remove(dm_index &index, int key) DM_REQUIRES(dm_port_rwlock)
{
    dm_write_guard guard(index);
    index.remove(key);
}

// Frees `key` for a port being re-sent: another record holding it loses the
// entry. The port's own previous key goes too, but only while it still leads
// to the port (another record indexed under it keeps its entry).
//
// An entry under `key` that already leads to the port is kept rather than
// deleted here and inserted again by the add: the index ends the same either
// way, and a re-send with unchanged keys (the bulk of a start-up refresh)
// then frees and allocates no index node. True when the entry was kept.
bool dm_port_index_take_over(dm_index &index, int key, int old_key, const dp_lib_port_t *old)
    DM_REQUIRES(dm_port_rwlock)
{
    dm_write_guard guard(index);
    const dp_lib_port_t *holder = dm_port_find(index, key);
    const bool kept = holder == old;
    if (holder != nullptr && !kept) {
        index.remove(key);
    }
    if (old_key != key && dm_port_find(index, old_key) == old) {
        index.remove(old_key);
    }
    return kept;
}

// The secondary entries a taken-over record keeps: the add inserts only the
// others.
struct dm_port_kept {
    bool ss_phyid = false;
    bool lsm_key = false;
    bool ifx = false;
};

// Takes over the record of a port that is already known: its stale keys
// leave the three secondary indexes and the new contents are copied over it
// in place (its dm_phyid entry stays). Null when the port is new.
dp_lib_port_t *dm_rmv_inval_port_in_port_lock(const dp_lib_port_t &in, dm_port_kept *kept)
    DM_REQUIRES(dm_port_rwlock)
{
    dp_lib_port_t *old;
    {
        dm_write_guard guard(dm_port_phyid_root);
        old = dm_port_find(dm_port_phyid_root, in.phyid);
    }
    if (old == nullptr) {
        return nullptr;
    }
    kept->ifx = dm_port_index_take_over(dm_ifx_root, in.ifx, old->ifx, old);
    kept->ss_phyid =
        dm_port_index_take_over(dm_port_ss_phyid_root, in.ss_phyid, old->ss_phyid, old);
    kept->lsm_key = dm_port_index_take_over(dm_port_lsm_key_root, in.lsm_key, old->lsm_key, old);
    std::memcpy(old, &in, kPortLen);
    return old;
}

// How an add ended; reported once the locks are released.
enum class dm_add_result {
    ok,
    no_memory,
    phyid_index,
    ss_phyid_index,
    lsm_key_index,
    ifx_index,
};

// Adds or refreshes a port. A failure part way leaves the record in the
// indexes already filled: the next add of the same port retries the rest.
dm_add_result dm_add_port_in_port_lock(const dp_lib_port_t &in) DM_REQUIRES(dm_port_rwlock)
{
    dm_port_kept kept;
    dp_lib_port_t *rec = dm_rmv_inval_port_in_port_lock(in, &kept);
    if (rec == nullptr) {
        rec = static_cast<dp_lib_port_t *>(std::malloc(kPortLen));
        if (rec == nullptr) {
            return dm_add_result::no_memory;
        }
        std::memcpy(rec, &in, kPortLen);
        if (dm_port_index_insert(dm_port_phyid_root, in.phyid, rec) != 0) {
            std::free(rec);
            return dm_add_result::phyid_index;
        }
    }
    if (!kept.ss_phyid && dm_port_index_insert(dm_port_ss_phyid_root, in.ss_phyid, rec) != 0) {
        return dm_add_result::ss_phyid_index;
    }
    if (!kept.lsm_key && dm_port_index_insert(dm_port_lsm_key_root, in.lsm_key, rec) != 0) {
        return dm_add_result::lsm_key_index;
    }
    if (in.ifx != 0 && !kept.ifx && dm_port_index_insert(dm_ifx_root, in.ifx, rec) != 0) {
        return dm_add_result::ifx_index;
    }
    return dm_add_result::ok;
}

// Drops the entry under a port's previous interface index, but only while it
// still leads to that port.
void dp_lib_del_old_fix_node(int ifx, int phyid) DM_REQUIRES(dm_ifx_root, dm_port_rwlock)
{
    DM_DETAIL("ifx: 0x%x, phyid: 0x%x\n", ifx, phyid);
    if (ifx == 0) {
        return;
    }
    const dp_lib_port_t *holder = dm_port_find(dm_ifx_root, ifx);
    if (holder == nullptr) {
        DM_WARN("ifx 0x%x node not found\n", ifx);
        return;
    }
    DM_DETAIL("port_info->phyid:0x%x, phyid:0x%x\n", holder->phyid, phyid);
    if (holder->phyid == phyid) {
        dm_ifx_root.remove(ifx);
    }
}

// Frees the interface index a port is about to take: another port holding it
// loses its interface index altogether.
void dp_lib_del_new_fix_node(int ifx, int phyid) DM_REQUIRES(dm_ifx_root, dm_port_rwlock)
{
    DM_DETAIL("ifx: 0x%x, phyid: 0x%x\n", ifx, phyid);
    if (ifx == 0) {
        return;
    }
    dp_lib_port_t *holder = dm_port_find(dm_ifx_root, ifx);
    if (holder == nullptr) {
        DM_WARN("ifx 0x%x node not found\n", ifx);
        return;
    }
    DM_DETAIL("port_info->phyid:0x%x, phyid:0x%x\n", holder->phyid, phyid);
    if (holder->phyid != phyid) {
        holder->ifx = 0;
    }
    dm_ifx_root.remove(ifx);
}

// Moves a port to a new interface index. False when the port is unknown.
bool dm_set_ifx_in_port_lock(const dp_lib_port_ifx_msg_t &msg) DM_REQUIRES(dm_port_rwlock)
{
    dp_lib_port_t *rec;
    {
        dm_read_guard guard(dm_port_phyid_root);
        rec = dm_port_find(dm_port_phyid_root, msg.phyid);
    }
    if (rec == nullptr) {
        return false;
    }
    DM_DETAIL("port ifx = %d, msg ifx = %d!\n", rec->ifx, msg.ifx);
    if (rec->ifx == msg.ifx) {
        return true;
    }
    dm_write_guard guard(dm_ifx_root);
    dp_lib_del_old_fix_node(rec->ifx, msg.phyid);
    dp_lib_del_new_fix_node(msg.ifx, msg.phyid);
    rec->ifx = msg.ifx;
    if (msg.ifx != 0) {
        const int ret = dm_ifx_root.insert(msg.ifx, rec);
        if (ret != 0) {
            DM_WARN("insert fail! ret = %d\n", ret);
        }
    }
    return true;
}

// Removes a port from all four indexes (whatever record each secondary entry
// leads to) and frees it; an unknown port changes nothing.
void dp_rmv_port_by_dmphyid(int dm_phyid)
{
    dm_write_guard port_guard(dm_port_rwlock);
    dp_lib_port_t *rec;
    {
        dm_write_guard guard(dm_port_phyid_root);
        rec = dm_port_find(dm_port_phyid_root, dm_phyid);
        if (rec == nullptr) {
            return;
        }
        dm_port_phyid_root.remove(dm_phyid);
    }
    dm_port_index_remove(dm_ifx_root, rec->ifx);
    dm_port_index_remove(dm_port_ss_phyid_root, rec->ss_phyid);
    dm_port_index_remove(dm_port_lsm_key_root, rec->lsm_key);
    std::free(rec);
}

// Copies the record under `key` out of one index; -1 on a miss.
int dm_port_copy_out(dm_index &index, int key, dp_lib_port_t *pinfo)
{
    if (pinfo == nullptr) {
        return -1;
    }
    bool found = false;
    {
        dm_read_guard port_guard(dm_port_rwlock);
        dm_read_guard guard(index);
        const dp_lib_port_t *rec = dm_port_find(index, key);
        if (rec != nullptr) {
            std::memcpy(pinfo, rec, kPortLen);
            found = true;
        }
    }
    if (!found) {
        DM_WARN("can not find node!\n");
        return -1;
    }
    return 0;
}

// twalk visitor of the show: one line per record, in ascending key order.
// Runs with dm_port_rwlock and the walked index held for reading.
void dm_lib_show_port_info_action(const void *nodep, const VISIT which, const int depth)
{
    (void)depth;
    switch (which) {
    case preorder:
    case endorder:
        return;
    case postorder:
    case leaf:
        break;
    default:
        DM_WARN("wrong VISIT parameter.\n");
        return;
    }
    const auto *node = *static_cast<const dm_tree_node_t *const *>(nodep);
    dp_lib_port_t p;
    std::memcpy(&p, node->data, kPortLen);
    std::printf(
        "[%d/%d/%d](ifx 0x%x, phyid 0x%x, ss_phyid 0x%x, node 0x%x, sslot %d, unit %d, "
        "chipid %d, cport %d, port_switch %s, medium_type %d, port_type: %d, poe:%d "
        "lsm_key 0x%x, lsm_user_slot %d, lsm_user_lport %d, subcard_node 0x%x.\n",
        p.devid, p.slotid, p.portid, p.ifx, p.phyid, p.ss_phyid, p.node, p.subslotid, p.l_chipid,
        p.g_chipid, p.chip_portid, p.port_switch ? "true" : "false", p.medium_type, p.type,
        p.poe_support ? 1 : 0, p.lsm_key, p.lsm_user_slot, p.lsm_user_port, p.subcard_node);
}

void dm_port_show_index(const char *heading, dm_index &index) DM_REQUIRES_SHARED(dm_port_rwlock)
{
    std::puts(heading);
    dm_read_guard guard(index);
    twalk(index.raw()->root, dm_lib_show_port_info_action);
}

int lib_dp_port_info_init(void)
{
    if (dm_ifx_root.init() != 0) {
        DM_ERROR("fail to init tree dm_ifx_root\n");
        return -1;
    }
    if (dm_port_phyid_root.init() != 0) {
        DM_ERROR("fail to init tree dm_port_phyid_root\n");
        return -1;
    }
    if (dm_port_ss_phyid_root.init() != 0) {
        DM_ERROR("fail to init tree dm_port_ss_phyid_root\n");
        return -1;
    }
    if (dm_port_lsm_key_root.init() != 0) {
        DM_ERROR("fail to init tree dm_port_lsm_key_root");
        return -1;
    }
    return 0;
}

}  // namespace

int dm_lib_dynamic_tbl_init(void)
{
    dm_phy_mgmt_clear();
    return lib_dp_port_info_init() == 0 ? 0 : -1;
}

void dp_lib_add_port(void *data)
{
    if (data == nullptr) {
        DM_ERROR("invalid data!\r\n");
        return;
    }
    dp_lib_port_t in;
    std::memcpy(&in, data, sizeof in);
    DM_VERBOSE("dp_lib_add_port phyid = 0x%x!\n", in.phyid);

    dm_add_result result;
    {
        dm_write_guard guard(dm_port_rwlock);
        result = dm_add_port_in_port_lock(in);
    }
    switch (result) {
    case dm_add_result::ok:
        DM_VERBOSE("get add port success!\n");
        break;
    case dm_add_result::no_memory:
        DM_ERROR("malloc fail\n");
        break;
    case dm_add_result::phyid_index:
        DM_ERROR("fail to insert dm_port_phyid_root(0x%X)\n", in.phyid);
        break;
    case dm_add_result::ss_phyid_index:
        DM_ERROR("fail to insert dm_port_ss_phyid_root(0x%X)\n", in.ss_phyid);
        break;
    case dm_add_result::lsm_key_index:
        DM_ERROR("fail to insert dm_port_lsm_key_root(0x%X)\n", in.lsm_key);
        break;
    case dm_add_result::ifx_index:
        DM_ERROR("fail to insert dm_ifx_root(0x%X)\n", in.ifx);
        break;
    }
}

void dp_lib_set_ifx(void *data)
{
    if (data == nullptr) {
        DM_ERROR("invalid data!\r\n");
        return;
    }
    dp_lib_port_ifx_msg_t msg;
    std::memcpy(&msg, data, sizeof msg);
    DM_DETAIL("phyid = 0x%x , ifx = 0x%x!\n", msg.phyid, msg.ifx);

    bool found;
    {
        dm_write_guard guard(dm_port_rwlock);
        found = dm_set_ifx_in_port_lock(msg);
    }
    if (!found) {
        DM_WARN("can not find node! phyid : 0x%x\n", msg.phyid);
        return;
    }
    DM_DETAIL("set ifx success!\n");
}

void dp_lib_rmv_port(void *data)
{
    if (data == nullptr) {
        DM_ERROR("invalid data!\r\n");
        return;
    }
    int32_t dm_phyid;
    std::memcpy(&dm_phyid, data, sizeof dm_phyid);
    DM_VERBOSE("dp_lib_rmv_port phyid = %x!\n", dm_phyid);
    dp_rmv_port_by_dmphyid(dm_phyid);
    DM_VERBOSE("get remove port success!\n");
}

void dm_lib_get_all_port_info(void)
{
    DM_DETAIL("show all port info.\r\n");
    {
        dm_read_guard guard(dm_port_rwlock);
        dm_port_show_index("\nAll ports in dm_ifx_root:", dm_ifx_root);
        dm_port_show_index("\nAll ports in dm_port_phyid_root:", dm_port_phyid_root);
        dm_port_show_index("\nAll ports in dm_port_ss_phyid_root:", dm_port_ss_phyid_root);
        dm_port_show_index("\nAll ports in dm_port_lsm_key_root:", dm_port_lsm_key_root);
    }
    dm_show_all_local_port();
}

int dm_lib_get_pinfo_by_ifx(int ifx, dp_lib_port_t *pinfo)
{
    return dm_port_copy_out(dm_ifx_root, ifx, pinfo);
}

int dm_lib_get_pinfo_by_phyid(int dm_phyid, dp_lib_port_t *pinfo)
{
    return dm_port_copy_out(dm_port_phyid_root, dm_phyid, pinfo);
}

int dm_lib_get_pinfo_from_ssphyid_tree(int ss_phyid, dp_lib_port_t *pinfo)
{
    return dm_port_copy_out(dm_port_ss_phyid_root, ss_phyid, pinfo);
}

int dm_lib_get_pinfo_by_lsm_key(int lsm_key, dp_lib_port_t *pinfo)
{
    return dm_port_copy_out(dm_port_lsm_key_root, lsm_key, pinfo);
}
