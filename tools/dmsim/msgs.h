// Message builders: the records of the data-plane messages and of the
// chip-ID synchronisation, put together from readable options, and the
// buffers that carry them (the stand-in's). Nothing here sends anything.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include <addr_common.h>
#include <dp_common.h>
#include <dp_pd_common.h>

#include "dm_standin.h"

#include "args.h"

namespace dmsim {

// The stand-in's wire assembly: records' bytes, the message head, the
// payloads of more than one record.
using dmstandin::addr_sync;
using dmstandin::append;
using dmstandin::bytes_of;
using dmstandin::dp_message;
using dmstandin::fc_chunk;
using dmstandin::lport_payload;

// Card type (message 3):
//   type=T [name=S] [ports=N] [chips=C] [chiptype=X | chiptypes=a,b,..]
//   [lports=LIST] [per_unit=K] [cport=P] [poe=0|1] [poe_lports=LIST]
//   [node_type=lc] [map=L:U:P,..] [relate=M:A-B,..]
// The lports (default 1..N, or 0..255 for 256 ports) go to the units in
// turn, per_unit (default: an even share) each, at chip ports from cport
// (default 1) upwards; map= overrides single lports (unit -1 removes one).
bool build_card_type(const Args &a, dp_lib_card_type_info_t *rec, std::string *err);

// Chip type (message 4): type=X [family=F] [invalid=P] [cmic=P]
bool build_chip_type(const Args &a, dp_lib_chip_info_t *rec, std::string *err);

// Port record (message 0):
//   dev=D slot=S lport=L unit=U cport=P [ifx=I] [chipid=G] [sslot=X] [node=N]
//   [type=10g] [medium=fiber] [switch=0|1] [poe=0|1] [lsm_key=K] [lsm_slot=S]
//   [lsm_port=P] [subcard=N] [phyid=dm_phyid] [ss_phyid=P] [split options]
// lsm_key defaults to the port's slot_lport_phyid, lsm_slot and lsm_port to
// slot and lport. Split options: parent=1 modes=ID:N,.. def=ID children=LIST
bool build_port(const Args &a, dp_lib_port_t *rec, std::string *err);

// One local port of this card: lport=L unit=U cport=P [key=K] [medium=fiber]
// [type=10g] [split options]; key overrides the lport_phyid.
bool build_lport(const Args &a, dp_lib_lport_t *rec, std::string *err);
// The local ports of a card type, one per lport it has.
std::vector<dp_lib_lport_t> lports_of_card_type(const dp_lib_card_type_info_t &card, int medium,
                                                int type);

// Management port (message 7): dev=D lport=L ifx=I [mode=M]
bool build_mgmt(const Args &a, dp_lib_phy_mgmt_ifx_msg_t *rec, std::string *err);

// Pre-installed cards (message 15): words D/S/SS; [len=N] overrides the count.
bool build_preinst(const Args &a, dp_lib_per_inst_info_t *rec, std::string *err);

// Conversion entries "PHYID:TYPE" (TYPE a port type name or number).
bool build_fc_entries(const std::vector<std::string> &words, std::vector<dm_convert_cfg_t> *entries,
                      std::string *err);

// Chip-ID allocation record:
//   dev=D slot=S [sslot=X] | gslot=G   ids=LIST [per_unit=K] [card=T]
//   [status=valid|none|limit|N] [id_num=N]
bool build_chipid(const Args &a, chipid_slot_t *rec, std::string *err);

}  // namespace dmsim
