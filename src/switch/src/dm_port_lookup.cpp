// Port getters by every identifier form: interface index, the phyid forms
// 6, 7 and 8, device/slot/unit/chip port and device/slot/local port. Each
// copies the port's record out of the port table and answers from the copy;
// chip IDs the record lacks come from the chip-ID allocation, interface
// indexes it lacks from the kernel driver.
#include "dm_port_lookup.h"

#include <cstring>

#include "dm_card_table.h"
#include "dm_chipid_query.h"
#include "dm_diag.h"
#include "dm_kernel_ifx.h"
#include "dm_port_table.h"
#include <dm_lib_pd/dm_ids.h>

namespace {

// The port-table key of a phyid of form 7 or 8; -1 for any other form, or
// for a form-7 chip ID the chip-ID allocation does not know.
int dm_lib_get_port_dmphyid_by_ssphyid(int ss_phyid, int *dm_phyid)
{
    switch (dm_phyid_form(ss_phyid)) {
    case DM_PHYID_FORM_MOD_PORT: {
        int node = 0;
        int unit = 0;
        if (dm_get_node_unit_from_chipid(dm_mod_port_chipid(ss_phyid), &node, &unit) != 0) {
            return -1;
        }
        *dm_phyid = dm_phyid_from_node_unit(node, unit, ss_phyid);
        return 0;
    }
    case DM_PHYID_FORM_UNIT_PORT:
        *dm_phyid = dm_phyid_from_unit_port_phyid(ss_phyid);
        return 0;
    default:
        return -1;
    }
}

// The port's mod_port_phyid. The global chip ID is always asked afresh (the
// answer lands in the caller's copy, never in the table).
int dm_lib_get_mod_port_phyid(dp_lib_port_t *port_info, int *phyid)
{
    if (dm_get_first_chipid_from_unit_node(port_info->l_chipid, port_info->node,
                                           &port_info->g_chipid) < 0) {
        DM_WARN("can not find node!\n");
        return -1;
    }
    *phyid = dm_mod_port_phyid(port_info->g_chipid, port_info->chip_portid);
    DM_VERBOSE("phyid = 0x%X\n", *phyid);
    return 0;
}

// Fills the caller's reduced record from a record copy. -1 only when the
// port's global chip ID is unknown (the rest is filled all the same); a port
// without an interface index is still a success, with ifx 0.
int dm_lib_port_to_dm_port(dp_lib_port_t *lib_pinfo, dm_port_t *dm_pinfo)
{
    dm_pinfo->ifx = lib_pinfo->ifx;
    dm_pinfo->phyid = lib_pinfo->ss_phyid;
    dm_pinfo->node = lib_pinfo->node;
    dm_pinfo->devid = lib_pinfo->devid;
    dm_pinfo->slotid = lib_pinfo->slotid;
    dm_pinfo->subslotid = lib_pinfo->subslotid;
    dm_pinfo->portid = lib_pinfo->portid;
    dm_pinfo->l_chipid = lib_pinfo->l_chipid;
    dm_pinfo->chip_portid = lib_pinfo->chip_portid;

    int ret = 0;
    if (lib_pinfo->g_chipid == 0) {
        int chipid = 0;
        if (dm_get_first_chipid_from_unit_node(lib_pinfo->l_chipid, lib_pinfo->node, &chipid) < 0) {
            DM_WARN("can not find node!\n");
            ret = -1;
        } else {
            lib_pinfo->g_chipid = chipid;
        }
    }
    dm_pinfo->g_chipid = lib_pinfo->g_chipid;
    if (ret != 0) {
        return ret;
    }
    if (dm_pinfo->ifx == 0) {
        const int kret = dm_kernel_get_ifx_from_port_info(lib_pinfo, &dm_pinfo->ifx);
        if (kret != 0) {
            dm_pinfo->ifx = 0;
            DM_WARN("dm_kernel_get_ifx_from_port_info fail(ret:%d, ifx:0x%x)!\n", kret,
                    dm_pinfo->ifx);
        }
    }
    return 0;
}

}  // namespace

bool dm_resolve_at(dm_site at, int phyid, dp_lib_port_t *rec, const char *miss_text,
                   dm_port_part part)
{
    if (dm_lib_get_pinfo_by_ssphyid(phyid, rec, part) == 0) {
        return true;
    }
    DM_DIAG_AT(at, LIB_DBG_WARN, "%s", miss_text);
    return false;
}

int dm_port_open(dm_site at, bool outs_missing, const char *label, int phyid, dp_lib_port_t *rec,
                 int miss, const char *miss_text, dm_port_part part)
{
    if (dm_bad_param(at, outs_missing)) {
        return -1;
    }
    DM_DIAG_AT(at, LIB_DBG_VERBOSE, "%s phyid = %x!\n", label, phyid);
    return dm_resolve_at(at, phyid, rec, miss_text, part) ? 0 : miss;
}

int dm_lib_get_pinfo_by_ssphyid(int phyid, dp_lib_port_t *pinfo, dm_port_part part)
{
    if (dm_phyid_form(phyid) == DM_PHYID_FORM_SLOT_LPORT) {
        return dm_lib_get_pinfo_from_ssphyid_tree(phyid, pinfo, part);
    }
    int dm_phyid = 0;
    if (dm_lib_get_port_dmphyid_by_ssphyid(phyid, &dm_phyid) != 0) {
        return -1;
    }
    return dm_lib_get_pinfo_by_phyid(dm_phyid, pinfo, part);
}

int dm_get_pinfo_by_ifx(int ifx, dm_port_t *pinfo)
{
    if (DM_BAD_PARAM(ifx == 0 || pinfo == nullptr)) {
        return -1;
    }
    dp_lib_port_t rec;
    if (dm_lib_get_pinfo_by_ifx(ifx, &rec, dm_port_part::head) != 0) {
        DM_WARN("can not find node!\n");
        return -1;
    }
    return dm_lib_port_to_dm_port(&rec, pinfo);
}

bool dm_port_is_on_local_switch(unsigned int ifindex)
{
    dp_lib_port_t rec;
    if (dm_lib_get_pinfo_by_ifx(static_cast<int>(ifindex), &rec, dm_port_part::head) != 0) {
        DM_WARN("can not find node!\n");
        return false;
    }
    return rec.devid == dm_get_my_devid();
}

int dm_get_phyid_from_ifx(int ifx, int *phyid)
{
    if (DM_BAD_PARAM(phyid == nullptr)) {
        return -1;
    }
    DM_VERBOSE("ifx: %d\r\n", ifx);
    dp_lib_port_t rec;
    int answer = 0;
    if (dm_lib_get_pinfo_by_ifx(ifx, &rec, dm_port_part::head) == 0) {
        if (dm_lib_get_mod_port_phyid(&rec, &answer) == 0) {
            *phyid = answer;
            DM_VERBOSE("phyid: %x\r\n", answer);
            return 0;
        }
        DM_WARN("fail to get phyid!\n");
    } else {
        DM_WARN("can not find node!\n");
    }

    // The table does not know this interface index: the driver may know the
    // port under its interface manager's key.
    int lsm_key = 0;
    if (dm_kernel_get_lsm_key_from_ifx(ifx, &lsm_key) != 0) {
        DM_WARN("fail to get data from kernel.\r\n");
        return -1;
    }
    if (dm_lib_get_pinfo_by_lsm_key(lsm_key, &rec, dm_port_part::head) != 0) {
        DM_WARN("can not find node!\n");
        return -1;
    }
    if (dm_lib_get_mod_port_phyid(&rec, &answer) != 0) {
        DM_WARN("fail to get phyid!\n");
        return -1;
    }
    *phyid = answer;
    DM_VERBOSE("phyid: %x\r\n", answer);
    return 0;
}

int dm_get_chipid_port_from_phyid(int phyid, int *chipid, int *port)
{
    if (DM_BAD_PARAM(chipid == nullptr || port == nullptr)) {
        return -1;
    }
    DM_VERBOSE("dm_get_mod_port_from_phyid phyid = %x!\n", phyid);
    if (dm_phyid_form(phyid) == DM_PHYID_FORM_MOD_PORT) {
        *chipid = dm_mod_port_chipid(phyid);
        *port = dm_mod_port_port(phyid);
        return 0;
    }
    dp_lib_port_t rec;
    if (!DM_RESOLVE(phyid, &rec)) {
        return -1;
    }
    int first = 0;
    const int ret = dm_get_first_chipid_from_unit_node(rec.l_chipid,
                                                       dm_node_make(rec.devid, rec.slotid), &first);
    if (ret < 0) {
        DM_WARN("dm_get_chipid_from_unit_node = %d!\n", ret);
        return -1;
    }
    *chipid = first;
    *port = rec.chip_portid;
    return 0;
}

// The getters below share one frame (dm_port_open): each names what it copies
// out of the port's record.
int dm_get_pinfo_by_phyid(int phyid, dm_port_t *pinfo)
{
    return DM_PORT_GET(pinfo == nullptr, phyid,
                       [&](dp_lib_port_t &rec) { return dm_lib_port_to_dm_port(&rec, pinfo); });
}

int dm_get_subcard_node_by_phyid(int phyid, int *subcard_node)
{
    // Traced under the name this query has always printed.
    return dm_port_get(DM_HERE, subcard_node == nullptr, "dm_get_pinfo_by_phyid", phyid, -1,
                       [&](const dp_lib_port_t &rec) {
                           *subcard_node = rec.subcard_node;
                           return 0;
                       });
}

int dm_get_ifindex_from_phyid(int phyid, int *ifindex)
{
    dp_lib_port_t rec;
    const int rc = DM_PORT_OPEN(ifindex == nullptr, phyid, &rec);
    if (rc != 0) {
        return rc;
    }
    *ifindex = rec.ifx;
    // The record's interface index counts only while the index still leads
    // somewhere (it may have been taken over by another port).
    dp_lib_port_t holder;
    if (dm_lib_get_pinfo_by_ifx(rec.ifx, &holder, dm_port_part::head) == 0) {
        DM_VERBOSE("dm_get_ifindex_from_phyid ifx = %d!\n", *ifindex);
        return 0;
    }
    DM_WARN("can not find node!\n");
    if (dm_kernel_get_ifx_from_port_info(&rec, ifindex) != 0) {
        DM_WARN("dm_kernel_get_ifx_from_port_info fail(phyid:0x%x)\n", phyid);
        return -1;
    }
    DM_VERBOSE("dm_get_ifindex_from_phyid ifx = %d!\n", *ifindex);
    return 0;
}

int dm_get_unit_port_from_phyid(int phyid, int *unit, int *port)
{
    return DM_PORT_GET(unit == nullptr || port == nullptr, phyid, [&](const dp_lib_port_t &rec) {
        *unit = rec.l_chipid;
        *port = rec.chip_portid;
        return 0;
    });
}

int dm_get_node_lport_from_phyid(int phyid, int *node, int *lport)
{
    return DM_PORT_GET(node == nullptr || lport == nullptr, phyid, [&](const dp_lib_port_t &rec) {
        *node = rec.node;
        *lport = rec.portid;
        return 0;
    });
}

int dm_get_sub_node_from_port_phyid(int port_phyid, int *node)
{
    // Traced under its neighbour's name, as always; a miss answers -2.
    return dm_port_get(DM_HERE, node == nullptr, "dm_get_node_lport_from_phyid", port_phyid, -2,
                       [&](const dp_lib_port_t &rec) {
                           *node = rec.subcard_node;
                           return 0;
                       });
}

int dm_get_port_medium_switch(int phyid, bool *medium_switch)
{
    return DM_PORT_GET(medium_switch == nullptr, phyid, [&](const dp_lib_port_t &rec) {
        *medium_switch = rec.port_switch != 0;
        return 0;
    });
}

bool dm_port_is_on_local_device(int phyid)
{
    dp_lib_port_t rec;
    return DM_PORT_OPEN(false, phyid, &rec) == 0 && rec.devid == dm_get_my_devid();
}

int dm_get_card_port_num(int node)
{
    DM_VERBOSE("node = %x!\n", node);
    const int type = dm_get_dev_phy_type_by_node(node);
    if (type < 0) {
        DM_WARN("can not find node!\n");
        return -1;
    }
    const int port_num = dm_get_card_port_num_by_type(type);
    if (port_num < 0) {
        DM_WARN("invalid card type(%d)!\n", type);
        return -1;
    }
    DM_VERBOSE("port_num = %d\n", port_num);
    return port_num;
}

int dm_get_phyid_by_slot_unit_port(int devid, int slot, int unit, int port, int *phyid)
{
    if (DM_BAD_PARAM(phyid == nullptr)) {
        return -1;
    }
    // Each value is cut to its field of the port-table key.
    const int dm_phyid = dm_phyid_make(devid & 0x3F, slot & 0x3F, unit & 0x7, port & 0x1FF);
    DM_VERBOSE("dm_get_phyid_by_slot_unit_port phyid = %x!\n", dm_phyid);
    dp_lib_port_t rec;
    if (dm_lib_get_pinfo_by_phyid(dm_phyid, &rec, dm_port_part::head) != 0) {
        DM_WARN("can not find node!\n");
        return -1;
    }
    return dm_lib_get_mod_port_phyid(&rec, phyid);
}

int dm_get_phyid_by_slot_lport(int devid, int slot, int lport, int *phyid)
{
    if (DM_BAD_PARAM(phyid == nullptr)) {
        return -1;
    }
    DM_VERBOSE("devid:%d, slot:%d, lport:%d\n", devid, slot, lport);
    // Not masked: a value above 255 spills into the next field up.
    const int ss_phyid = dm_slot_lport_phyid(devid, slot, lport);
    DM_VERBOSE("phyid = 0x%x!\n", ss_phyid);
    dp_lib_port_t rec;
    if (!DM_RESOLVE(ss_phyid, &rec)) {
        return -1;
    }
    return dm_lib_get_mod_port_phyid(&rec, phyid);
}
