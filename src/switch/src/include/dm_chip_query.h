// Chip questions by chip type and by unit of this card, and the list of a
// global chip's ports (dm_chip_query.cpp), on the card, chip, chip-ID and
// port tables. Everything the source defines is exported.
#pragma once

#include <dm_lib_pd/dm_chip_cfg.h>
