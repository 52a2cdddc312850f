// The handlers of the messages that add, re-key and remove ports, and the
// table's debug show, all on the port table object (dm_port_table.h).
#include "dm_port_msgs.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "dm_diag.h"
#include "dm_local_port_table.h"
#include "dm_port_table.h"

namespace {

// Frees `key` of one view for a port being re-sent: another port holding it
// loses the entry. The port's own previous key goes too, but only while it
// still leads to the port (another port entered under it keeps its entry).
//
// An entry under `key` that already leads to the port is kept rather than
// erased here and entered again by the add: the view ends the same either
// way, and a re-send with unchanged keys (the bulk of a start-up refresh)
// then touches no view. True when the entry was kept.
bool dm_port_index_take_over(dm_port_writer &w, dm_port_key by, int key, int old_key,
                             dm_port_slot old)
{
    const dm_port_slot holder = w.find(by, key);
    const bool kept = holder == old;
    if (holder != kDmNoPort && !kept) {
        w.erase(by, key);
    }
    if (old_key != key && w.find(by, old_key) == old) {
        w.erase(by, old_key);
    }
    return kept;
}

// The secondary entries a taken-over record keeps: the add enters only the
// others.
struct dm_port_kept {
    bool ss_phyid = false;
    bool lsm_key = false;
    bool ifx = false;
};

// Takes over the record of a port that is already known: its stale keys
// leave the three secondary views and the new contents are stored over it
// in place (its dm_phyid entry stays). kDmNoPort when the port is new.
dm_port_slot dm_rmv_inval_port_in_port_lock(dm_port_writer &w, const dp_lib_port_t &in,
                                            dm_port_kept *kept)
{
    const dm_port_slot old = w.find(dm_port_key::phyid, in.phyid);
    if (old == kDmNoPort) {
        return kDmNoPort;
    }
    const dp_lib_port_t prev = w.record(old);
    kept->ifx = dm_port_index_take_over(w, dm_port_key::ifx, in.ifx, prev.ifx, old);
    kept->ss_phyid =
        dm_port_index_take_over(w, dm_port_key::ss_phyid, in.ss_phyid, prev.ss_phyid, old);
    kept->lsm_key = dm_port_index_take_over(w, dm_port_key::lsm_key, in.lsm_key, prev.lsm_key, old);
    w.store(old, in);
    return old;
}

// How an add ended; reported once the table is released.
// The index failures come last, in the order dp_lib_add_port names them.
enum class dm_add_result {
    ok,
    no_memory,
    phyid_index,
    ss_phyid_index,
    lsm_key_index,
    ifx_index,
};

// Adds or refreshes a port. A failure part way leaves the record in the
// views already filled: the next add of the same port retries the rest.
dm_add_result dm_add_port_in_port_lock(const dp_lib_port_t &in)
{
    dm_port_writer w;
    dm_port_kept kept;
    dm_port_slot slot = dm_rmv_inval_port_in_port_lock(w, in, &kept);
    if (slot == kDmNoPort) {
        slot = w.add(in);
        if (slot == kDmNoPort) {
            return dm_add_result::no_memory;
        }
        if (w.insert(dm_port_key::phyid, in.phyid, slot) != 0) {
            w.release(slot);
            return dm_add_result::phyid_index;
        }
    }
    if (!kept.ss_phyid && w.insert(dm_port_key::ss_phyid, in.ss_phyid, slot) != 0) {
        return dm_add_result::ss_phyid_index;
    }
    if (!kept.lsm_key && w.insert(dm_port_key::lsm_key, in.lsm_key, slot) != 0) {
        return dm_add_result::lsm_key_index;
    }
    if (in.ifx != 0 && !kept.ifx && w.insert(dm_port_key::ifx, in.ifx, slot) != 0) {
        return dm_add_result::ifx_index;
    }
    return dm_add_result::ok;
}

// The slot that holds interface index `ifx` while port `phyid` moves off or
// onto it, traced under the caller's name: kDmNoPort when ifx is 0 or no
// port holds it, else the slot with its record copied into *held.
dm_port_slot dm_ifx_holder(dm_site at, const dm_port_writer &w, int ifx, int phyid,
                           dp_lib_port_t *held)
{
    DM_DIAG_AT(at, LIB_DBG_DETAIL, "ifx: 0x%x, phyid: 0x%x\n", ifx, phyid);
    if (ifx == 0) {
        return kDmNoPort;
    }
    const dm_port_slot holder = w.find(dm_port_key::ifx, ifx);
    if (holder == kDmNoPort) {
        DM_DIAG_AT(at, LIB_DBG_WARN, "ifx 0x%x node not found\n", ifx);
        return kDmNoPort;
    }
    *held = w.record(holder);
    DM_DIAG_AT(at, LIB_DBG_DETAIL, "port_info->phyid:0x%x, phyid:0x%x\n", held->phyid, phyid);
    return holder;
}

// Drops the entry under a port's previous interface index, but only while it
// still leads to that port.
void dp_lib_del_old_fix_node(dm_port_writer &w, int ifx, int phyid)
{
    dp_lib_port_t held;
    if (dm_ifx_holder(DM_HERE, w, ifx, phyid, &held) != kDmNoPort && held.phyid == phyid) {
        w.erase(dm_port_key::ifx, ifx);
    }
}

// Frees the interface index a port is about to take: another port holding it
// loses its interface index altogether.
void dp_lib_del_new_fix_node(dm_port_writer &w, int ifx, int phyid)
{
    dp_lib_port_t held;
    const dm_port_slot holder = dm_ifx_holder(DM_HERE, w, ifx, phyid, &held);
    if (holder == kDmNoPort) {
        return;
    }
    if (held.phyid != phyid) {
        held.ifx = 0;
        w.store(holder, held);
    }
    w.erase(dm_port_key::ifx, ifx);
}

// Moves a port to a new interface index. False when the port is unknown.
bool dm_set_ifx_in_port_lock(const dp_lib_port_ifx_msg_t &msg)
{
    dm_port_writer w;
    const dm_port_slot slot = w.find(dm_port_key::phyid, msg.phyid);
    if (slot == kDmNoPort) {
        return false;
    }
    dp_lib_port_t rec = w.record(slot);
    DM_DETAIL("port ifx = %d, msg ifx = %d!\n", rec.ifx, msg.ifx);
    if (rec.ifx == msg.ifx) {
        return true;
    }
    dp_lib_del_old_fix_node(w, rec.ifx, msg.phyid);
    dp_lib_del_new_fix_node(w, msg.ifx, msg.phyid);
    // The port's phyid is its own, so the holder cleared above was another
    // port and `rec` is still this one's record.
    rec.ifx = msg.ifx;
    w.store(slot, rec);
    if (msg.ifx != 0) {
        const int ret = w.insert(dm_port_key::ifx, msg.ifx, slot);
        if (ret != 0) {
            DM_WARN("insert fail! ret = %d\n", ret);
        }
    }
    return true;
}

// Removes a port from all four views (whatever port each secondary entry
// leads to) and frees its slot; an unknown port changes nothing.
void dp_rmv_port_by_dmphyid(int dm_phyid)
{
    dm_port_writer w;
    const dm_port_slot slot = w.find(dm_port_key::phyid, dm_phyid);
    if (slot == kDmNoPort) {
        return;
    }
    const dp_lib_port_t rec = w.record(slot);
    w.erase(dm_port_key::phyid, dm_phyid);
    w.erase(dm_port_key::ifx, rec.ifx);
    w.erase(dm_port_key::ss_phyid, rec.ss_phyid);
    w.erase(dm_port_key::lsm_key, rec.lsm_key);
    w.release(slot);
}

// One line of the show.
void dm_lib_show_port_info_action(const dp_lib_port_t &p)
{
    std::printf(
        "[%d/%d/%d](ifx 0x%x, phyid 0x%x, ss_phyid 0x%x, node 0x%x, sslot %d, unit %d, "
        "chipid %d, cport %d, port_switch %s, medium_type %d, port_type: %d, poe:%d "
        "lsm_key 0x%x, lsm_user_slot %d, lsm_user_lport %d, subcard_node 0x%x.\n",
        p.devid, p.slotid, p.portid, p.ifx, p.phyid, p.ss_phyid, p.node, p.subslotid, p.l_chipid,
        p.g_chipid, p.chip_portid, p.port_switch ? "true" : "false", p.medium_type, p.type,
        p.poe_support ? 1 : 0, p.lsm_key, p.lsm_user_slot, p.lsm_user_port, p.subcard_node);
}

}  // namespace

void dp_lib_add_port(void *data)
{
    dp_lib_port_t in;
    if (!DM_TAKE_MSG(data, &in)) {
        return;
    }
    DM_VERBOSE("dp_lib_add_port phyid = 0x%x!\n", in.phyid);

    const dm_add_result result = dm_add_port_in_port_lock(in);
    if (result == dm_add_result::ok) {
        DM_VERBOSE("get add port success!\n");
        return;
    }
    if (result == dm_add_result::no_memory) {
        DM_ERROR("malloc fail\n");
        return;
    }
    // The index that refused the record, named with the key it refused.
    const struct {
        const char *index;
        int32_t key;
    } refused[] = {
        {"dm_port_phyid_root", in.phyid},
        {"dm_port_ss_phyid_root", in.ss_phyid},
        {"dm_port_lsm_key_root", in.lsm_key},
        {"dm_ifx_root", in.ifx},
    };
    const auto &r =
        refused[static_cast<int>(result) - static_cast<int>(dm_add_result::phyid_index)];
    DM_ERROR("fail to insert %s(0x%X)\n", r.index, r.key);
}

void dp_lib_set_ifx(void *data)
{
    dp_lib_port_ifx_msg_t msg;
    if (!DM_TAKE_MSG(data, &msg)) {
        return;
    }
    DM_DETAIL("phyid = 0x%x , ifx = 0x%x!\n", msg.phyid, msg.ifx);

    if (!dm_set_ifx_in_port_lock(msg)) {
        DM_WARN("can not find node! phyid : 0x%x\n", msg.phyid);
        return;
    }
    DM_DETAIL("set ifx success!\n");
}

void dp_lib_rmv_port(void *data)
{
    int32_t dm_phyid;
    if (!DM_TAKE_MSG(data, &dm_phyid)) {
        return;
    }
    DM_VERBOSE("dp_lib_rmv_port phyid = %x!\n", dm_phyid);
    dp_rmv_port_by_dmphyid(dm_phyid);
    DM_VERBOSE("get remove port success!\n");
}

void dm_lib_get_all_port_info(void)
{
    DM_DETAIL("show all port info.\r\n");
    static const char *const kHeadings[kDmPortKeys] = {
        "\nAll ports in dm_ifx_root:",
        "\nAll ports in dm_port_phyid_root:",
        "\nAll ports in dm_port_ss_phyid_root:",
        "\nAll ports in dm_port_lsm_key_root:",
    };
    // One snapshot of all four views, printed with no lock held. A view whose
    // copy cannot be allocated prints its heading only.
    dm_port_view_copy views[kDmPortKeys];
    dm_port_snapshot(views);
    for (int v = 0; v < kDmPortKeys; ++v) {
        std::puts(kHeadings[v]);
        for (size_t i = 0; i < views[v].count; ++i) {
            dm_lib_show_port_info_action(views[v].lines[i].rec);
        }
    }
    dm_show_all_local_port();
}
