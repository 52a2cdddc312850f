/*
 * dm_phy_mgmt.h - physical management ports: interface indexes and management-port phyids (form 15).
 *
 * Part of the dm_lib_pd query interface. Unless a function says otherwise:
 * results are 0 on success and -1 on failure; out-parameters are written only
 * on success; every function may be called from any thread at any time after
 * the library is loaded; records are copied out under the owning table's read
 * lock, and no pointer into a table is ever handed out.
 */
#ifndef DM_LIB_PD_PHY_MGMT_H
#define DM_LIB_PD_PHY_MGMT_H

#include <stdbool.h>

#include <dm_lib_pd/dm_types.h>

#ifdef __cplusplus
extern "C" {
#endif

/*
 * Management ports.
 *
 * A management board sits in slot 30, 31 or 0 of device 1 or 2 and has
 * management ports 0 and 1. The data-plane master gives each (device, port)
 * an interface index (data message 7); 0 means none. The same message sets
 * the management mode: in mode 0 an index stands for the port of its own
 * device only, in any other mode for that port number on both devices.
 *
 * A management-port phyid has form 15:
 *   bits 31..24  15
 *   bits 23..16  device, 1 or 2
 *   bits 15..8   slot in gslot form with sub-slot 0; bits 4..0 are 30, 31 or 0
 *   bits 7..0    management port, 0 or 1
 * Its node is (device << 24 & 0x3F000000) | (slot << 12 & 0x3F000).
 *
 * Every function may be called from any thread; the table is read under its
 * read lock, which no function holds while it calls another. Failures are
 * reported at warning level unless a function says otherwise; results that
 * are phyids or nodes use -1 for failure (no valid one is -1).
 */

/* Device (1 or 2) whose table holds `ifx`; when both do, device 2. -1 for
 * ifx 0 (warning "invalid ifx:%u") or an index in no entry. */
DM_API int dm_get_devid_from_phy_mgmt_ifx(IFINDEX ifx);
/* Device and management port of `ifx` (device 2 wins a tie; within a device
 * port 0 before port 1). 0; -1 for ifx 0 or a null output (warning "invalid
 * param. (ifx:%u)") or an index in no entry; outputs written only on 0. */
DM_API int dm_get_devid_lport_from_phy_mgmt_ifx(IFINDEX ifx, int *devid, int *lport);
/* True when `phyid` is a valid management-port phyid; each failed test
 * prints its warning ("dev_type : ...", "dev : ...", "lslot : ...", "index : ..."). */
DM_API bool dm_phyid_is_phy_mgmt_phyid(int phyid);
/* Node of the management board of `phyid` (the slot byte's low 6 bits as
 * slot); -1 for an invalid phyid (warning "invalid phy mgmt phyid:0x%x"). */
DM_API int dm_get_node_from_phy_mgmt_phyid(int phyid);
/* Management-port phyid of port 0 of device `dev_id` (1 or 2), slot `slot_id`
 * (0..255, sub-slot bits 0, lslot 30, 31 or 0). -1 otherwise, with warning
 * "dev_id: %d, slot_id: %d": a slot of 256 or more is refused since it would
 * not fit its byte. */
DM_API int dm_get_phy_mgmt_phyid_from_dev_slot(int dev_id, int slot_id);
/* The same for management port `lport` (0 or 1); -1 with warning
 * "dev_id: %d, slot_id: %d, lport:%d". */
DM_API int dm_get_phy_mgmt_phyid_from_dev_slot_lport(int dev_id, int slot_id, int lport);
/* Device and slot byte of a valid management-port phyid. 0; -1 for a null
 * output or an invalid phyid (warning "invalid parameter"). */
DM_API int dm_get_dev_slot_from_phy_mgmt_phyid(int phyid, int *dev_id, int *slot_id);
/* Device, slot byte and port of a valid management-port phyid; 0 or -1 as above. */
DM_API int dm_get_dev_slot_lport_from_phy_mgmt_phyid(int phyid, int *dev_id, int *slot_id,
                                                     int *lport);
/* The phyids of port `lport` of `ifx` on both devices, slots 30 and 31:
 * (1, 30), (1, 31), (2, 30), (2, 31). *num is the room in `phyid` (at least
 * 4) on entry and the count written (always 4: devices above 2 are never
 * listed, whatever the room) on return. 0; -1 for ifx 0 or a null pointer
 * ("input param is NULL"), room below 4 ("num invalid") or an unknown index.
 * Prints each phyid at warning level. */
DM_API int dm_get_phyid_list_from_phy_mgmt_ifx(IFINDEX ifx, int *phyid, int *num);
/* The phyids `ifx` stands for. Mode 0: its own device's port in slots 30 and
 * 31, needing room for 2 (-1 with warning "num:%d" otherwise), *num = 2.
 * Other modes: the answer of dm_get_phyid_list_from_phy_mgmt_ifx. -1 for ifx
 * 0, a null pointer or an unknown index. The mode is read once, without the
 * lock, so a concurrent message 7 may change it during the call. */
DM_API int dm_get_phyid_from_phy_mgmt_ifx(IFINDEX ifx, int *phyid, int *num);
/* Prints the table to standard output, plainly, one line per port of device
 * `dev_id` (1 or 2) or of both (-1); any other value prints warning
 * "invalid dev_id: %d" instead. Then runs dm_lib_test_phy_mgmt_ifx_intf. */
DM_API void dm_lib_show_phy_mgmt_ifx(int dev_id);
/* dm_lib_show_phy_mgmt_ifx(-1); debug show command 9 (DP_LIB_DBG_SHOW_MGMT). */
DM_API void dm_lib_show_all_phy_mgmt_ifx(void);
/* Self-test: for every entry that holds an index, checks the conversions
 * above against each other, prints each failure, then the verdict
 * "test dm_lib_test_phy_mgmt_ifx_intf result : pass." (or "fail."), all
 * plainly to standard output. In a mode other than 0 every entry fails. */
DM_API void dm_lib_test_phy_mgmt_ifx_intf(void);
/* Asks dm_get_phyid_from_phy_mgmt_ifx with room for 4 and writes the result,
 * count and four entries to the host's log file; entries not written show 0. */
DM_API void utest_dm_get_phyid(IFINDEX ifx);

#ifdef __cplusplus
}
#endif

#endif /* DM_LIB_PD_PHY_MGMT_H */
