// The chip-ID allocation mirror's synchronisation (dm_chipid_sync.cpp): the
// address manager's updates and the allocation events they raise.
#pragma once

#include "addr_common.h"
#include "dm_host.h"

// Registers the synchronisation handlers with the host's address-manager client.
void addr_chip_lib_reg_pd_frame(void);
void addr_chip_lib_data_handle(void *data_buf, int data_len);
void addr_chip_lib_batch_handle(int smooth_flag);
// Step 6 of the batch end: one allocation event per chip ID of every valid slot.
void addr_lib_batch_notify_alloc_event(void);
