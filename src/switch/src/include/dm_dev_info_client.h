// The handler set given to the host: data, RPC, batch-end and show dispatch.
#pragma once

#include "dm_host.h"

// Starts the configuration tables and the port table, then registers the
// handler set for module DP_LIB_MOD_PD. 0, or -1 when any step fails.
int dm_dev_info_client_init(void);

void dm_dev_info_client_data_handle(void *data_buf, int data_len);
void dm_dev_info_client_rpc_handle(void *req_buf, int req_len, int *ack_len);
void dm_dev_info_client_batch_handle(int batch_flag);
void dm_dev_info_client_debug_show_handle(int para);

// The port-validity request: asks the application's RPC handler and writes
// the reply over the request (at most 128 bytes). Always 0.
int dp_lib_port_valid_judge(void *req_buf, int *ack_len);

// A data handler: receives the payload's address only.
typedef void (*dm_data_fn)(void *data);
// Bytes of payload a handler will read, computed from the `len` bytes present
// (it may read only the counts within them). A message whose `len` is below
// the answer is refused before the handler runs.
typedef long long (*dm_data_len_fn)(const void *data, int len);

typedef struct {
    int msgid;
    dm_data_fn data_f;
    int fixed_len;              // payload bytes the handler reads, when fixed
    dm_data_len_fn needed_len;  // or null: fixed_len applies
} dm_info_data_handle_t;

typedef struct {
    int msgid;
    int (*rpc_f)(void *req_buf, int *ack_len);
    int fixed_len;  // payload bytes the handler reads
} dm_info_rpc_handle_t;

typedef struct {
    int para;
    void (*show_f)(void);
} dm_info_show_handle_t;
