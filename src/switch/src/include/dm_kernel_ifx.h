// The kernel interface-index channel (dm_kernel_ifx.cpp), asked on a record
// copy with no lock held.
#pragma once

#include "dp_pd_common.h"
#include <dm_lib_pd/dm_port_lookup.h>  // dm_is_llcb_type_support

int dm_lsm_cnvt_dmtype_to_llcbtype(int dmtype);
int dm_kernel_get_ifx_from_port_info(dp_lib_port_t *dm_port_info, int *ifx);
int dm_kernel_get_lsm_key_from_ifx(int ifx, int *lsm_key);
