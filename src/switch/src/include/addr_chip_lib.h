// The mirror of the address manager's chip-ID allocation.
#pragma once

#include "addr_common.h"
#include "dm_host.h"

// Registers the synchronisation handlers with the host's address-manager client.
void addr_chip_lib_reg_pd_frame(void);
void addr_chip_lib_data_handle(void *data_buf, int data_len);
void addr_chip_lib_batch_handle(int smooth_flag);
// Step 6 of the batch end: one allocation event per chip ID of every valid slot.
void addr_lib_batch_notify_alloc_event(void);
