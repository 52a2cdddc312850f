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

/* Storage of the encoders: constant expressions in C++, plain inline
 * functions in C. */
#ifdef __cplusplus
#define DM_ID_FN static constexpr inline
extern "C" {
#else
#define DM_ID_FN static inline
#endif

#define DM_PHYID_FORM_SLOT_LPORT 6 /* top byte of a slot_lport_phyid */
#define DM_PHYID_FORM_MOD_PORT 7   /* top byte of a mod_port_phyid */
#define DM_PHYID_FORM_UNIT_PORT 8  /* top byte of a unit_port_phyid */
#define DM_PHYID_FORM_PHY_MGMT 15  /* top byte of a management-port phyid */

/* Shifts are done on unsigned values so that any input is defined. */
#define DM_U32(v) ((uint32_t)(v))

/* Top byte of a phyid, read unsigned: its form (DM_PHYID_FORM_*). */
DM_ID_FN int dm_phyid_form(int phyid) { return (int)(DM_U32(phyid) >> 24); }

/* node of the card in slot `slot` of device `devid`, sub-slot 0; each value
 * is cut to its 6-bit field. dm_node_make(1, 3) is 0x01003000. */
DM_ID_FN int dm_node_make(int devid, int slot)
{
    return (int)(((DM_U32(slot) << 12) & 0x3F000u) | ((DM_U32(devid) << 24) & 0x3F000000u));
}
/* Device number of a node (bits 29..24). */
DM_ID_FN int dm_node_devid(int node) { return (int)((DM_U32(node) >> 24) & 0x3Fu); }
/* Sub-slot of a node (bits 23..18); 0 for a card directly in a slot. */
DM_ID_FN int dm_node_sslot(int node) { return (int)((DM_U32(node) >> 18) & 0x3Fu); }
/* Slot of a node (bits 17..12). */
DM_ID_FN int dm_node_lslot(int node) { return (int)((DM_U32(node) >> 12) & 0x3Fu); }

/* The gslot of slot `lslotid`, sub-slot `sslotid` of device `devid`: the
 * chip-ID tables' slot number. Only devices 1 and 2 are encoded; any other
 * device encodes as device 1. Slot and sub-slot keep their low 5 bits.
 * Device 2, slot 3, sub-slot 0 gives 35. */
DM_ID_FN int dm_get_gslot_from_lslot(int devid, int lslotid, int sslotid)
{
    return (int)(((DM_U32(sslotid) << 10) & 0x7C00u) | (DM_U32(lslotid) & 0x1Fu) |
                 ((devid >= 1 && devid <= 2) ? ((DM_U32(devid - 1) << 5) & 0x3E0u) : 0u));
}
/* Device number of a gslot (bits 9..5, plus 1). */
DM_ID_FN int dm_get_devid_from_gslot(int gslot) { return (int)((DM_U32(gslot) >> 5) & 0x1Fu) + 1; }
/* Slot of a gslot (bits 4..0). */
DM_ID_FN int dm_get_lslot_from_gslot(int gslot) { return (int)(DM_U32(gslot) & 0x1Fu); }
/* Sub-slot of a gslot (bits 14..10). */
DM_ID_FN int dm_get_sslot_from_gslot(int gslot) { return (int)((DM_U32(gslot) >> 10) & 0x1Fu); }
/* The node of the card at a gslot (despite the name, a node, not a port's
 * phyid). gslot 1059 gives 0x02043000. */
DM_ID_FN int dm_get_phyid_from_gslot(int gslot)
{
    return (int)(((DM_U32(dm_get_devid_from_gslot(gslot)) << 24) & 0x3F000000u) |
                 ((DM_U32(dm_get_sslot_from_gslot(gslot)) << 18) & 0xFC0000u) |
                 ((DM_U32(dm_get_lslot_from_gslot(gslot)) << 12) & 0x3F000u));
}
/* The gslot of the card at `node` (a node, despite the name); slot and
 * sub-slot lose bit 5 on the way. */
DM_ID_FN int dm_get_gslot_from_phyid(int node)
{
    return dm_get_gslot_from_lslot(dm_node_devid(node), dm_node_lslot(node), dm_node_sslot(node));
}

/* slot_lport_phyid (form 6) of front-panel port `lport` of the card in
 * `slot` of device `devid`; the values are not cut, so each must fit its
 * 8-bit field. Device 0 gives the local form. dm_slot_lport_phyid(1, 3, 5)
 * is 0x06010305. */
DM_ID_FN int dm_slot_lport_phyid(int devid, int slot, int lport)
{
    return (int)(0x06000000u | (DM_U32(devid) << 16) | (DM_U32(slot) << 8) | DM_U32(lport));
}
/* slot_lport_phyid of port `lport` of the card at `node` (its device and
 * slot; the sub-slot is not part of this form). */
DM_ID_FN int dm_slot_lport_phyid_from_node(int node, int lport)
{
    return (int)(0x06000000u | (DM_U32(dm_node_devid(node)) << 16) |
                 (DM_U32(dm_node_lslot(node)) << 8) | DM_U32(lport));
}

/* mod_port_phyid (form 7) of chip port `port` of global chip `chipid`; the
 * values are not cut (chip ID 16 bits, port 8 bits). dm_mod_port_phyid(43,
 * 10) is 0x07002B0A. */
DM_ID_FN int dm_mod_port_phyid(int chipid, int port)
{
    return (int)(0x07000000u | (DM_U32(chipid) << 8) | DM_U32(port));
}
/* Global chip ID of a mod_port_phyid (bits 23..8). */
DM_ID_FN int dm_mod_port_chipid(int phyid) { return (int)((DM_U32(phyid) >> 8) & 0xFFFFu); }
/* Chip port of a mod_port_phyid (bits 7..0). */
DM_ID_FN int dm_mod_port_port(int phyid) { return (int)(DM_U32(phyid) & 0xFFu); }

/* unit_port_phyid (form 8) of chip port `port` of chip `unit` on the card in
 * `slot` of device `devid`; the values are not cut (device and slot 6 bits,
 * unit 4, port 8). Device 0 gives the local form.
 * dm_unit_port_phyid(1, 3, 1, 10) is 0x0804310A. */
DM_ID_FN int dm_unit_port_phyid(int devid, int slot, int unit, int port)
{
    return (int)(0x08000000u | (DM_U32(devid) << 18) | (DM_U32(slot) << 12) | (DM_U32(unit) << 8) |
                 DM_U32(port));
}
/* Device number of a unit_port_phyid (bits 23..18); 0 in the local form. */
DM_ID_FN int dm_unit_port_devid(int phyid) { return (int)((DM_U32(phyid) >> 18) & 0x3Fu); }

#define DM_PHYID_NOT_PORT (-1) /* dm_phyid_scope(): not a port phyid */
#define DM_PHYID_LOCAL 0       /* dm_phyid_scope(): a port of this device */
#define DM_PHYID_GLOBAL 1      /* dm_phyid_scope(): names its device */
/* Scope of a port phyid: global when it names its device (form 7 always;
 * forms 6 and 8 with a non-zero device field), local when that field is 0,
 * and no port phyid at all for any other form. Pure bit decoding. */
DM_ID_FN int dm_phyid_scope(int phyid)
{
    int form = dm_phyid_form(phyid);
    if (form == DM_PHYID_FORM_MOD_PORT) {
        return DM_PHYID_GLOBAL;
    }
    if (form == DM_PHYID_FORM_SLOT_LPORT) {
        return ((DM_U32(phyid) >> 16) & 0xFFu) != 0 ? DM_PHYID_GLOBAL : DM_PHYID_LOCAL;
    }
    if (form == DM_PHYID_FORM_UNIT_PORT) {
        return dm_unit_port_devid(phyid) != 0 ? DM_PHYID_GLOBAL : DM_PHYID_LOCAL;
    }
    return DM_PHYID_NOT_PORT;
}
/* Slot of a unit_port_phyid (bits 17..12). */
DM_ID_FN int dm_unit_port_slot(int phyid) { return (int)((DM_U32(phyid) >> 12) & 0x3Fu); }
/* Chip (unit) of a unit_port_phyid (bits 11..8). */
DM_ID_FN int dm_unit_port_unit(int phyid) { return (int)((DM_U32(phyid) >> 8) & 0xFu); }
/* Chip port of a unit_port_phyid (bits 7..0). */
DM_ID_FN int dm_unit_port_port(int phyid) { return (int)(DM_U32(phyid) & 0xFFu); }

/* dm_phyid, the port table's key, of chip port `port` of chip `unit` on the
 * card in `slot` of device `devid`; each value is cut to its field (device
 * and slot 6 bits, unit 3, port 9). dm_phyid_make(1, 3, 1, 10) is
 * 0x0100320A. */
DM_ID_FN int dm_phyid_make(int devid, int slot, int unit, int port)
{
    return (int)((DM_U32(port) & 0x1FFu) | ((DM_U32(devid) << 24) & 0x3F000000u) |
                 ((DM_U32(slot) << 12) & 0x3F000u) | ((DM_U32(unit) << 9) & 0xE00u));
}
/* dm_phyid of the port a unit_port_phyid names (units 8..15 lose bit 3). */
DM_ID_FN int dm_phyid_from_unit_port_phyid(int phyid)
{
    return dm_phyid_make(dm_unit_port_devid(phyid), dm_unit_port_slot(phyid),
                         dm_unit_port_unit(phyid), dm_unit_port_port(phyid));
}
/* dm_phyid of the port a mod_port_phyid names, given the node and unit of
 * the chip its chip ID is allocated to (dm_get_node_unit_from_chipid()). */
DM_ID_FN int dm_phyid_from_node_unit(int node, int unit, int mod_port_phyid)
{
    return (int)((DM_U32(node) & 0x3F03F000u) | ((DM_U32(unit) << 9) & 0xE00u) |
                 (DM_U32(mod_port_phyid) & 0xFFu));
}

/* lport_phyid, the key of this card's local port table, of chip port `port`
 * of chip `unit` (unit cut to 3 bits, port to 9): the low 12 bits of the
 * port's dm_phyid. */
DM_ID_FN int dm_lport_phyid_make(int unit, int port)
{
    return (int)(((DM_U32(unit) << 9) & 0xE00u) | (DM_U32(port) & 0x1FFu));
}
/* Chip (unit) of an lport_phyid (bits 11..9). */
DM_ID_FN int dm_lport_phyid_unit(int lport_phyid) { return (int)((DM_U32(lport_phyid) >> 9) & 7u); }
/* Chip port of an lport_phyid (bits 8..0). */
DM_ID_FN int dm_lport_phyid_port(int lport_phyid) { return (int)(DM_U32(lport_phyid) & 0x1FFu); }

#define DM_SYSPORT_PER_DEV 5120 /* system ports of one device */
#define DM_SYSPORT_PER_SLOT 320 /* system ports of one slot */
#define DM_SYSPORT_PER_UNIT 40  /* system ports of one chip */
/* System port of chip port `port` of chip `unit` in `slot` of device `dev`,
 * by plain arithmetic; nothing is checked (the exported converters of
 * dm_chipid_query.h check the ranges). dm_sysport_make(1, 3, 1, 10) is 690. */
DM_ID_FN int dm_sysport_make(int dev, int slot, int unit, int port)
{
    return (dev - 1) * DM_SYSPORT_PER_DEV + (slot - 1) * DM_SYSPORT_PER_SLOT +
           unit * DM_SYSPORT_PER_UNIT + port;
}

/* Slots of the chassis management boards: 30 and 31, and 0 on a box. */
#define DM_MB_SLOT_LOW 30  /* the first management board's slot */
#define DM_MB_SLOT_HIGH 31 /* the second management board's slot */
/* True for slot 30 or 31, the main-board slots of a chassis device. */
DM_ID_FN int dm_lslot_is_chassis_mb(int lslot)
{
    return lslot == DM_MB_SLOT_LOW || lslot == DM_MB_SLOT_HIGH;
}
/* True for a slot a management board sits in: 30, 31, or 0 on a box. */
DM_ID_FN int dm_lslot_is_mgmt_board(int lslot)
{
    return dm_lslot_is_chassis_mb(lslot) || lslot == 0;
}

#ifdef __cplusplus
}
#endif

#endif /* DM_LIB_PD_DM_IDS_H */
