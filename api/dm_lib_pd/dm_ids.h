/*
 * dm_ids.h - the packed 32-bit identifiers of ports, cards and slots.
 *
 *   node      card:      devid 29..24, sslot 23..18, lslot 17..12
 *   gslot     slot:      sslot 14..10, devid-1 9..5 (devices 1, 2), lslot 4..0
 *   phyid     port, top byte selects the form:
 *             6 slot_lport_phyid  devid 23..16, slot 15..8, lport 7..0
 *             7 mod_port_phyid    chipid 23..8, chip port 7..0
 *             8 unit_port_phyid   devid 23..18, slot 17..12, unit 11..8, port 7..0
 *             15 management-port phyid (see dm_phy_mgmt.h)
 *   dm_phyid  port-table key: devid 29..24, slot 17..12, unit 11..9, port 8..0
 *   lport_phyid local key:  unit 11..9, port 8..0
 *   sysport   (dev-1)*5120 + (slot-1)*320 + unit*40 + port
 *
 * Every encoder is a pure function, usable at compile time from C++.
 */
#ifndef DM_LIB_PD_DM_IDS_H
#define DM_LIB_PD_DM_IDS_H

#include <stdint.h>

#ifdef __cplusplus
#define DM_ID_FN static constexpr inline
extern "C" {
#else
#define DM_ID_FN static inline
#endif

#define DM_PHYID_FORM_SLOT_LPORT 6
#define DM_PHYID_FORM_MOD_PORT 7
#define DM_PHYID_FORM_UNIT_PORT 8
#define DM_PHYID_FORM_PHY_MGMT 15

/* Shifts are done on unsigned values so that any input is defined. */
#define DM_U32(v) ((uint32_t)(v))

/* Top byte of a phyid, unsigned. */
DM_ID_FN int dm_phyid_form(int phyid) { return (int)(DM_U32(phyid) >> 24); }

/* node of a card from device and slot (sub-slot 0). */
DM_ID_FN int dm_node_make(int devid, int slot)
{
    return (int)(((DM_U32(slot) << 12) & 0x3F000u) | ((DM_U32(devid) << 24) & 0x3F000000u));
}
DM_ID_FN int dm_node_devid(int node) { return (int)((DM_U32(node) >> 24) & 0x3Fu); }
DM_ID_FN int dm_node_sslot(int node) { return (int)((DM_U32(node) >> 18) & 0x3Fu); }
DM_ID_FN int dm_node_lslot(int node) { return (int)((DM_U32(node) >> 12) & 0x3Fu); }

/* gslot converters. */
DM_ID_FN int dm_get_gslot_from_lslot(int devid, int lslotid, int sslotid)
{
    return (int)(((DM_U32(sslotid) << 10) & 0x7C00u) | (DM_U32(lslotid) & 0x1Fu) |
                 ((devid >= 1 && devid <= 2) ? ((DM_U32(devid - 1) << 5) & 0x3E0u) : 0u));
}
DM_ID_FN int dm_get_devid_from_gslot(int gslot) { return (int)((DM_U32(gslot) >> 5) & 0x1Fu) + 1; }
DM_ID_FN int dm_get_lslot_from_gslot(int gslot) { return (int)(DM_U32(gslot) & 0x1Fu); }
DM_ID_FN int dm_get_sslot_from_gslot(int gslot) { return (int)((DM_U32(gslot) >> 10) & 0x1Fu); }
DM_ID_FN int dm_get_phyid_from_gslot(int gslot)
{
    return (int)(((DM_U32(dm_get_devid_from_gslot(gslot)) << 24) & 0x3F000000u) |
                 ((DM_U32(dm_get_sslot_from_gslot(gslot)) << 18) & 0xFC0000u) |
                 ((DM_U32(dm_get_lslot_from_gslot(gslot)) << 12) & 0x3F000u));
}
DM_ID_FN int dm_get_gslot_from_phyid(int node)
{
    return dm_get_gslot_from_lslot(dm_node_devid(node), dm_node_lslot(node), dm_node_sslot(node));
}

/* slot_lport_phyid (form 6), unmasked as the system builds it. */
DM_ID_FN int dm_slot_lport_phyid(int devid, int slot, int lport)
{
    return (int)(0x06000000u | (DM_U32(devid) << 16) | (DM_U32(slot) << 8) | DM_U32(lport));
}
DM_ID_FN int dm_slot_lport_phyid_from_node(int node, int lport)
{
    return (int)(0x06000000u | (DM_U32(dm_node_devid(node)) << 16) |
                 (DM_U32(dm_node_lslot(node)) << 8) | DM_U32(lport));
}

/* mod_port_phyid (form 7), unmasked. */
DM_ID_FN int dm_mod_port_phyid(int chipid, int port)
{
    return (int)(0x07000000u | (DM_U32(chipid) << 8) | DM_U32(port));
}
DM_ID_FN int dm_mod_port_chipid(int phyid) { return (int)((DM_U32(phyid) >> 8) & 0xFFFFu); }
DM_ID_FN int dm_mod_port_port(int phyid) { return (int)(DM_U32(phyid) & 0xFFu); }

/* unit_port_phyid (form 8), unmasked; devid 0 gives the local form. */
DM_ID_FN int dm_unit_port_phyid(int devid, int slot, int unit, int port)
{
    return (int)(0x08000000u | (DM_U32(devid) << 18) | (DM_U32(slot) << 12) |
                 (DM_U32(unit) << 8) | DM_U32(port));
}
DM_ID_FN int dm_unit_port_devid(int phyid) { return (int)((DM_U32(phyid) >> 18) & 0x3Fu); }
DM_ID_FN int dm_unit_port_slot(int phyid) { return (int)((DM_U32(phyid) >> 12) & 0x3Fu); }
DM_ID_FN int dm_unit_port_unit(int phyid) { return (int)((DM_U32(phyid) >> 8) & 0xFu); }
DM_ID_FN int dm_unit_port_port(int phyid) { return (int)(DM_U32(phyid) & 0xFFu); }

/* dm_phyid, the port-table key. */
DM_ID_FN int dm_phyid_make(int devid, int slot, int unit, int port)
{
    return (int)((DM_U32(port) & 0x1FFu) | ((DM_U32(devid) << 24) & 0x3F000000u) |
                 ((DM_U32(slot) << 12) & 0x3F000u) | ((DM_U32(unit) << 9) & 0xE00u));
}
DM_ID_FN int dm_phyid_from_unit_port_phyid(int phyid)
{
    return dm_phyid_make(dm_unit_port_devid(phyid), dm_unit_port_slot(phyid),
                         dm_unit_port_unit(phyid), dm_unit_port_port(phyid));
}
/* dm_phyid from a mod_port_phyid, given the node and unit of its chip. */
DM_ID_FN int dm_phyid_from_node_unit(int node, int unit, int mod_port_phyid)
{
    return (int)((DM_U32(node) & 0x3F03F000u) | ((DM_U32(unit) << 9) & 0xE00u) |
                 (DM_U32(mod_port_phyid) & 0xFFu));
}

/* lport_phyid, the key of this card's local port table. */
DM_ID_FN int dm_lport_phyid_make(int unit, int port)
{
    return (int)(((DM_U32(unit) << 9) & 0xE00u) | (DM_U32(port) & 0x1FFu));
}
DM_ID_FN int dm_lport_phyid_unit(int lport_phyid) { return (int)((DM_U32(lport_phyid) >> 9) & 7u); }
DM_ID_FN int dm_lport_phyid_port(int lport_phyid) { return (int)(DM_U32(lport_phyid) & 0x1FFu); }

/* sysport arithmetic (ranges are checked by the exported converters). */
DM_ID_FN int dm_sysport_make(int dev, int slot, int unit, int port)
{
    return (dev - 1) * 5120 + (slot - 1) * 320 + unit * 40 + port;
}

#ifdef __cplusplus
}
#endif

#endif /* DM_LIB_PD_DM_IDS_H */
