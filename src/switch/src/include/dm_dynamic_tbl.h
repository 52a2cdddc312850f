// The chassis port table (records and four indexes), its lookups, the kernel
// interface-index channel, and the message handlers of the port-table family.
#pragma once

#include "dm_host.h"
#include "dp_pd_common.h"
#include <dm_lib_pd/dm_phy_mgmt.h>  // show command 9 is the exported management-port show

// Start-up: clears the management-port table, starts the four indexes.
int dm_lib_dynamic_tbl_init(void);

// Data messages 0, 1, 2 and show command 6.
void dp_lib_add_port(void *data);
void dp_lib_set_ifx(void *data);
void dp_lib_rmv_port(void *data);
void dm_lib_get_all_port_info(void);

// Record lookups: 0 with the 124-byte record copied into *pinfo, or -1.
int dm_lib_get_pinfo_by_ifx(int ifx, dp_lib_port_t *pinfo);
int dm_lib_get_pinfo_by_phyid(int dm_phyid, dp_lib_port_t *pinfo);
int dm_lib_get_pinfo_from_ssphyid_tree(int ss_phyid, dp_lib_port_t *pinfo);
int dm_lib_get_pinfo_by_lsm_key(int lsm_key, dp_lib_port_t *pinfo);
// Resolver for a phyid of form 6, 7 or 8.
int dm_lib_get_pinfo_by_ssphyid(int phyid, dp_lib_port_t *pinfo);

// Kernel channel ("tmp/dm_dev"), asked on a record copy with no lock held.
int dm_lsm_cnvt_dmtype_to_llcbtype(int dmtype);
int dm_kernel_get_ifx_from_port_info(dp_lib_port_t *dm_port_info, int *ifx);
int dm_kernel_get_lsm_key_from_ifx(int ifx, int *lsm_key);

// Management ports: data message 7, show command 9, cleared at start-up.
void dp_lib_set_phy_mgmt_ifx(void *data);
void dm_phy_mgmt_clear(void);

// Pre-installed cards: data message 15.
void dp_lib_port_pre_inst_done_handle(void *data);
