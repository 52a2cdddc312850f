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

DM_API int dm_get_devid_from_phy_mgmt_ifx(IFINDEX ifx);
DM_API int dm_get_devid_lport_from_phy_mgmt_ifx(IFINDEX ifx, int *devid, int *lport);
DM_API bool dm_phyid_is_phy_mgmt_phyid(int phyid);
DM_API int dm_get_node_from_phy_mgmt_phyid(int phyid);
DM_API int dm_get_phy_mgmt_phyid_from_dev_slot(int dev_id, int slot_id);
DM_API int dm_get_phy_mgmt_phyid_from_dev_slot_lport(int dev_id, int slot_id, int lport);
DM_API int dm_get_dev_slot_from_phy_mgmt_phyid(int phyid, int *dev_id, int *slot_id);
DM_API int dm_get_dev_slot_lport_from_phy_mgmt_phyid(int phyid, int *dev_id, int *slot_id, int *lport);
DM_API int dm_get_phyid_list_from_phy_mgmt_ifx(IFINDEX ifx, int *phyid, int *num);
DM_API int dm_get_phyid_from_phy_mgmt_ifx(IFINDEX ifx, int *phyid, int *num);
DM_API void dm_lib_show_phy_mgmt_ifx(int dev_id);
DM_API void dm_lib_show_all_phy_mgmt_ifx(void);
DM_API void dm_lib_test_phy_mgmt_ifx_intf(void);
DM_API void utest_dm_get_phyid(IFINDEX ifx);

#ifdef __cplusplus
}
#endif

#endif /* DM_LIB_PD_PHY_MGMT_H */
