/*
 * consumer.c - a C11 application built against an installed dm_lib_pd.
 *
 * Includes only the umbrella header and the host stand-in's control header,
 * sends one card type through the stand-in and reads it back: the installed
 * headers compile as C11, the library links and answers. What the answers
 * are in detail is the unit tests' business.
 */
#define _POSIX_C_SOURCE 200809L

#include <stdio.h>
#include <string.h>

#include <dm_lib_pd/dm_lib_pd.h>

#include "dm_host_ctl.h"

int main(void)
{
    static dp_lib_card_type_info_t card; /* 2 KiB: not on the stack */
    card.card_type = 210;
    card.port_num = 48;
    strcpy(card.name, "LC-48X");
    if (dm_host_run_init() != 0) {
        fprintf(stderr, "consumer_c: the host could not initialise the library\n");
        return 1;
    }
    dm_host_send_msg(DP_LIB_MSG_CARD_CFG, &card, (int)sizeof card);
    char name[DP_LIB_CARD_NAME_LEN];
    const int ok = dm_get_card_port_num_by_type(210) == 48 &&
                   dm_get_card_name_by_type(210, name, (int)sizeof name) == 0 &&
                   strcmp(name, "LC-48X") == 0;
    dm_host_event_stop();
    printf("consumer_c: %s\n", ok ? "all answers right" : "wrong answer");
    return ok ? 0 : 1;
}
