// Local phyids: telling global from local port identifiers and converting
// between the forms, through the port table for any port, this card's local
// port table for its own ports and the chip-ID allocation for chip IDs; and
// the medium and port type of a global or local phyid.
#include "dm_lphyid.h"

#include <cstdint>

#include "dm_chipid_query.h"
#include "dm_diag.h"
#include "dm_local_port_table.h"
#include "dm_port_lookup.h"
#include <dm_lib_pd/dm_ids.h>

namespace {

// Fields of a slot_lport_phyid (form 6).
constexpr int slot_lport_slot(int phyid) { return static_cast<int>((DM_U32(phyid) >> 8) & 0xFFu); }
constexpr int slot_lport_lport(int phyid) { return static_cast<int>(DM_U32(phyid) & 0xFFu); }

// Sets the device id into a local phyid by OR: the input must be local, a
// device id already present is not overwritten.
constexpr int with_devid(int lphyid, int devid, int shift)
{
    return static_cast<int>(DM_U32(lphyid) | (DM_U32(devid) << shift));
}

// Path A: the local form-6 phyid of any port the port table knows.
int dm_get_slot_lport_lphyid_from_phyid(int phyid)
{
    int node = 0;
    int lport = 0;
    if (dm_get_node_lport_from_phyid(phyid, &node, &lport) != 0) {
        return 0;
    }
    return dm_slot_lport_phyid(0, dm_node_lslot(node), lport);
}

// Path B: the local form-6 phyid of one of this card's ports, named by a
// form-8 phyid whose slot is this card's.
int dm_get_lphyid_from_unit_port_phyid(int phyid)
{
    int slot = 0;
    int lport = 0;
    if (dm_local_get_slot_lport_from_unit_port(dm_unit_port_unit(phyid), dm_unit_port_port(phyid),
                                               &slot, &lport) != 0) {
        return 0;
    }
    return dm_slot_lport_phyid(0, slot, lport);
}

// Path C: the mod_port_phyid of a local form-6 or form-8 phyid, once this
// device's id is set into it (`shift` selects the device field).
int dm_get_phyid_from_lphyid_form(int lphyid, int shift)
{
    const int devid = dm_get_my_devid();
    if (devid == 0) {
        DM_WARN("invalid devid!\n");
        return 0;
    }
    dm_port_t pinfo;
    if (dm_get_pinfo_by_phyid(with_devid(lphyid, devid, shift), &pinfo) != 0) {
        DM_WARN("can not find node!\n");
        return 0;
    }
    return dm_mod_port_phyid(pinfo.g_chipid, pinfo.chip_portid);
}

int dm_get_phyid_from_slot_lport_lphyid(int lphyid)
{
    return dm_get_phyid_from_lphyid_form(lphyid, 16);
}

int dm_get_phyid_from_unit_port_lphyid(int lphyid)
{
    return dm_get_phyid_from_lphyid_form(lphyid, 18);
}

// The local port key of a phyid of form 6, 7 or 8; 0 or -1. Unlike
// dm_get_unit_port_from_lphyid, a form-8 slot field of 0 is accepted.
int dm_get_lport_phyid_by_lphyid(int lphyid, int *lport_phyid)
{
    DM_VERBOSE("lphyid = 0x%X\n", static_cast<unsigned>(lphyid));
    const int form = dm_phyid_form(lphyid);
    int unit = 0;
    int port = 0;
    int node = 0;
    int ret = 0;
    switch (form) {
    case DM_PHYID_FORM_SLOT_LPORT:
        ret = dm_local_get_unit_port_from_slot_lport(slot_lport_slot(lphyid),
                                                     slot_lport_lport(lphyid), &unit, &port);
        break;
    case DM_PHYID_FORM_MOD_PORT:
        ret = dm_get_node_unit_from_chipid(dm_mod_port_chipid(lphyid), &node, &unit);
        port = dm_mod_port_port(lphyid);
        break;
    case DM_PHYID_FORM_UNIT_PORT: {
        const int slot = dm_unit_port_slot(lphyid);
        if (slot != 0 && slot != dm_get_my_lslotid()) {
            DM_WARN("param error slot = %d!\n", slot);
            return -1;
        }
        unit = dm_unit_port_unit(lphyid);
        port = dm_unit_port_port(lphyid);
        break;
    }
    default:
        DM_WARN("dev_type = %d\n", form);
        return -1;
    }
    if (ret != 0) {
        DM_WARN("dev_type = %d, ret = %d\n", form, ret);
        return -1;
    }
    *lport_phyid = dm_lport_phyid_make(unit, port);
    DM_VERBOSE("lport_phyid = 0x%X\n", static_cast<unsigned>(*lport_phyid));
    return 0;
}

// Kinds of port attribute answered by the global-or-local getters.
enum class dm_port_attr { medium_type, type };

// The medium or port type of a global phyid (from the port table) or a local
// one (from this card's local port table).
int dm_get_port_attr(int phyid, dm_port_attr attr, int *answer)
{
    bool is_global = false;
    if (dm_phyid_is_global(phyid, &is_global) != 0) {
        DM_WARN("invalid port phyid!\n");
        return -1;
    }
    if (is_global) {
        dp_lib_port_t pinfo;
        if (!DM_RESOLVE(phyid, &pinfo)) {
            return -1;
        }
        *answer = attr == dm_port_attr::medium_type ? pinfo.medium_type : pinfo.type;
        return 0;
    }
    dp_lib_lport_t lport;
    if (dm_local_get_pinfo_by_lphyid(phyid, &lport) != 0) {
        DM_WARN("can not find node!\n");
        return -1;
    }
    *answer = attr == dm_port_attr::medium_type ? lport.medium_type : lport.type;
    return 0;
}

// The local phyid of a port by the form of its phyid; 0 for an unknown form.
int dm_lphyid_by_form(int phyid)
{
    switch (dm_phyid_form(phyid)) {
    case DM_PHYID_FORM_SLOT_LPORT:
        return static_cast<int>(DM_U32(phyid) & ~0x00FF0000u);
    case DM_PHYID_FORM_MOD_PORT:
        return dm_get_slot_lport_lphyid_from_phyid(phyid);
    case DM_PHYID_FORM_UNIT_PORT:
        // A port in this card's slot number is answered from the local port
        // table, whatever device the phyid names.
        if (dm_unit_port_slot(phyid) == dm_get_my_lslotid()) {
            return dm_get_lphyid_from_unit_port_phyid(phyid);
        }
        return dm_get_slot_lport_lphyid_from_phyid(phyid);
    default:
        return 0;
    }
}

// The global phyid of a port by the form of its local phyid (a form-7
// phyid is global already); 0 for an unknown form.
int dm_phyid_by_form(int lphyid)
{
    const int form = dm_phyid_form(lphyid);
    if (form == DM_PHYID_FORM_MOD_PORT) {
        return lphyid;
    }
    if (form == DM_PHYID_FORM_SLOT_LPORT) {
        return dm_get_phyid_from_slot_lport_lphyid(lphyid);
    }
    return form == DM_PHYID_FORM_UNIT_PORT ? dm_get_phyid_from_unit_port_lphyid(lphyid) : 0;
}

// A conversion of `id` (named `from`) by `convert`, traced under the caller's
// name before and after as "<from>=0x..", "<to>=0x..".
int dm_traced_conversion(dm_site at, const char *from, int id, const char *to, int (*convert)(int))
{
    DM_DIAG_AT(at, LIB_DBG_VERBOSE, "%s=0x%X\n", from, static_cast<unsigned>(id));
    const int out = convert(id);
    DM_DIAG_AT(at, LIB_DBG_VERBOSE, "%s=0x%X\n", to, static_cast<unsigned>(out));
    return out;
}

}  // namespace

int dm_phyid_is_global(int phyid, bool *is_global)
{
    if (DM_BAD_PARAM(is_global == nullptr)) {
        return -1;
    }
    const int scope = dm_phyid_scope(phyid);
    if (scope < 0) {
        DM_WARN("invalid port phyid\n");
        return -1;
    }
    *is_global = scope == DM_PHYID_GLOBAL;
    return 0;
}

int dm_get_lphyid_from_phyid(int phyid)
{
    return dm_traced_conversion(DM_HERE, "phyid", phyid, "lphyid", dm_lphyid_by_form);
}

int dm_get_phyid_from_lphyid(int lphyid)
{
    return dm_traced_conversion(DM_HERE, "lphyid", lphyid, "phyid", dm_phyid_by_form);
}

int dm_get_lphyid_from_unit_port(int unit, int port)
{
    const int lphyid = dm_unit_port_phyid(0, dm_get_my_lslotid(), unit, port);
    DM_VERBOSE("lphyid = 0x%X!\n", static_cast<unsigned>(lphyid));
    int u = 0;
    int p = 0;
    if (dm_get_unit_port_from_lphyid(lphyid, &u, &p) != 0) {
        DM_WARN("lport not exist!\n");
        return 0;
    }
    return lphyid;
}

int dm_get_unit_port_from_lphyid(int lphyid, int *unit, int *port)
{
    if (DM_BAD_PARAM(unit == nullptr || port == nullptr)) {
        return -1;
    }
    int ret = -1;
    switch (dm_phyid_form(lphyid)) {
    case DM_PHYID_FORM_SLOT_LPORT:
        ret = dm_local_get_unit_port_from_slot_lport(slot_lport_slot(lphyid),
                                                     slot_lport_lport(lphyid), unit, port);
        break;
    case DM_PHYID_FORM_MOD_PORT: {
        *port = dm_mod_port_port(lphyid);
        int node = 0;
        ret = dm_get_node_unit_from_chipid(dm_mod_port_chipid(lphyid), &node, unit);
        break;
    }
    case DM_PHYID_FORM_UNIT_PORT: {
        const int slot = dm_unit_port_slot(lphyid);
        if (slot != dm_get_my_lslotid()) {
            DM_WARN("param error slot = %d!\n", slot);
            return -1;
        }
        *unit = dm_unit_port_unit(lphyid);
        *port = dm_unit_port_port(lphyid);
        dp_lib_lport_t info;
        ret = dm_local_get_pinfo_by_lport_phyid(dm_lport_phyid_make(*unit, *port), &info);
        break;
    }
    default:
        break;
    }
    DM_VERBOSE("ret = %d. unit = %d, port = %d!\n", ret, *unit, *port);
    return ret;
}

int dm_local_get_pinfo_by_lphyid(int lphyid, dp_lib_lport_t *info)
{
    if (DM_BAD_PARAM(info == nullptr)) {
        return -1;
    }
    int lport_phyid = 0;
    int ret = dm_get_lport_phyid_by_lphyid(lphyid, &lport_phyid);
    if (ret != 0) {
        DM_WARN("ret = %d\n", ret);
        return -1;
    }
    ret = dm_local_get_pinfo_by_lport_phyid(lport_phyid, info);
    DM_VERBOSE("ret = %d!\n", ret);
    return ret;
}

int dm_get_port_medium_type(int phyid, int *medium_type)
{
    if (DM_BAD_PARAM(medium_type == nullptr)) {
        return -1;
    }
    DM_VERBOSE("phyid = %x!\n", phyid);
    return dm_get_port_attr(phyid, dm_port_attr::medium_type, medium_type);
}

int dm_get_port_type(int phyid, int *eth_type)
{
    if (DM_BAD_PARAM(eth_type == nullptr)) {
        return -1;
    }
    DM_VERBOSE("param phyid = %x!\n", phyid);
    return dm_get_port_attr(phyid, dm_port_attr::type, eth_type);
}
