// Chip-ID queries (dm_chipid_query.cpp): the allocation mirror's answers,
// the reserved IDs, fixed chip IDs and system ports. All of them are
// exported; this header names the source's public area.
#pragma once

#include <dm_lib_pd/dm_chipid_query.h>
