/*
 * dm_lib_pd.h - the whole query interface of dm_lib_pd, for applications.
 *
 * dm_lib_pd keeps the chassis' hardware layout (ports, cards, chips, chip-ID
 * allocation, management ports, port conversions) that the data-plane master
 * sends, and maps between every identifier of a port, card and chip. Include
 * this header; link with -ldm_lib_pd inside a process that has the host
 * library loaded.
 */
#ifndef DM_LIB_PD_DM_LIB_PD_H
#define DM_LIB_PD_DM_LIB_PD_H

#include <dm_lib_pd/dm_types.h>
#include <dm_lib_pd/dm_ids.h>
#include <dm_lib_pd/dm_event.h>
#include <dm_lib_pd/dm_port_lookup.h>
#include <dm_lib_pd/dm_split_port.h>
#include <dm_lib_pd/dm_phy_mgmt.h>
#include <dm_lib_pd/dm_pre_inst.h>
#include <dm_lib_pd/dm_port_num.h>
#include <dm_lib_pd/dm_card_table.h>
#include <dm_lib_pd/dm_chip_cfg.h>
#include <dm_lib_pd/dm_local_port.h>
#include <dm_lib_pd/dm_lphyid.h>
#include <dm_lib_pd/dm_chipid_query.h>
#include <dm_lib_pd/dm_fc_lists.h>

#endif /* DM_LIB_PD_DM_LIB_PD_H */
