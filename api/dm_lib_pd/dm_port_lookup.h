/*
 * dm_port_lookup.h - port lookups by interface index and by phyid (forms 6, 7 and 8).
 *
 * Part of the dm_lib_pd query interface. Unless a function says otherwise:
 * results are 0 on success and -1 on failure; out-parameters are written only
 * on success; every function may be called from any thread at any time after
 * the library is loaded; records are copied out under the owning table's read
 * lock, and no pointer into a table is ever handed out.
 */
#ifndef DM_LIB_PD_PORT_LOOKUP_H
#define DM_LIB_PD_PORT_LOOKUP_H

#include <stdbool.h>

#include <dm_lib_pd/dm_types.h>

#ifdef __cplusplus
extern "C" {
#endif

DM_API int dm_get_pinfo_by_ifx(int ifx, dm_port_t *pinfo);
DM_API bool dm_port_is_on_local_switch(unsigned int ifindex);
DM_API int dm_get_phyid_from_ifx(int ifx, int *phyid);
DM_API int dm_get_chipid_port_from_phyid(int phyid, int *chipid, int *port);
DM_API int dm_get_pinfo_by_phyid(int phyid, dm_port_t *pinfo);
DM_API int dm_get_subcard_node_by_phyid(int phyid, int *subcard_node);
DM_API int dm_get_ifindex_from_phyid(int phyid, int *ifindex);
DM_API int dm_get_unit_port_from_phyid(int phyid, int *unit, int *port);
DM_API int dm_get_node_lport_from_phyid(int phyid, int *node, int *lport);
DM_API int dm_get_sub_node_from_port_phyid(int port_phyid, int *node);
DM_API int dm_get_port_medium_switch(int phyid, bool *medium_switch);
DM_API int dm_get_port_medium_type(int phyid, int *medium_type);
DM_API int dm_get_port_type(int phyid, int *eth_type);
DM_API bool dm_port_is_on_local_device(int phyid);
DM_API int dm_get_card_port_num(int node);
DM_API int dm_get_phyid_by_slot_unit_port(int devid, int slot, int unit, int port, int *phyid);
DM_API int dm_get_phyid_by_slot_lport(int devid, int slot, int lport, int *phyid);

/* True when `llcb_type` is one of the supported Ethernet link-layer types. */
DM_API bool dm_is_llcb_type_support(int llcb_type);

#ifdef __cplusplus
}
#endif

#endif /* DM_LIB_PD_PORT_LOOKUP_H */
