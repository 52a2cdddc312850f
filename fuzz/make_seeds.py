#!/usr/bin/env python3
"""Writes the seed corpora of the fuzz targets under fuzz/corpus/<target>/.

A few valid inputs of every kind, small on purpose: the fuzzer grows its own
corpus from them. Run it again after a message layout or the step encoding of
fuzz_sequence.cpp changes; it replaces the seed files it owns and leaves
others alone.

    fuzz/make_seeds.py [corpus-dir]
"""
import os
import struct
import sys

HERE = os.path.dirname(os.path.abspath(__file__))

# ---- wire records ---------------------------------------------------------------


def header(msgid, length, module=1):
    return struct.pack("<iiii", 0, msgid, module, length)


def message(msgid, payload):
    return header(msgid, len(payload)) + payload


def dm_phyid(dev, slot, unit, port):
    return (port & 0x1FF) | ((dev << 24) & 0x3F000000) | ((slot << 12) & 0x3F000) | ((unit << 9) & 0xE00)


def node(dev, slot):
    return ((slot << 12) & 0x3F000) | ((dev << 24) & 0x3F000000)


def ss_phyid(dev, slot, lport):
    return 0x06000000 | (dev << 16) | (slot << 8) | lport


def split_info(modes=(), default=0, children=()):
    ids = [m for m, _ in modes] + [0] * (4 - len(modes))
    nums = [n for _, n in modes] + [0] * (4 - len(modes))
    kids = list(children) + [0] * (32 - len(children))
    return struct.pack("<BB4B4B32B", len(modes), default, *ids, *nums, *kids)


def port_record(dev, slot, unit, cport, lport, ifx, lsm_key, split=None):
    split = split or split_info()
    head = struct.pack(
        "<11iB3xiiB3xiiiB3xi",
        ifx, dm_phyid(dev, slot, unit, cport), ss_phyid(dev, slot, lport), node(dev, slot),
        dev, slot, 0, lport, unit, 0, cport,
        0, 0, 1, 0, lsm_key, slot, lport, 1 if split != split_info() else 0, node(dev, slot))
    rec = head + split + b"\0\0"
    assert len(rec) == 124
    return rec


def card_record(card_type, chip_num, ports, name=b"card"):
    lport_unit = [(l % chip_num if chip_num > 0 else 0) if l < ports else -1 for l in range(256)]
    chip_port = [l + 1 if l < ports else -1 for l in range(256)]
    rec = struct.pack("<iii8i32sB3xi", card_type, ports, chip_num, *([1] * 8), name, 1, 3)
    rec += struct.pack("<256b", *lport_unit)
    rec += bytes(1 if l < ports and l % 2 == 0 else 0 for l in range(256))
    rec += struct.pack("<8i", *([ports] * 8))
    rec += struct.pack("<256i", *chip_port)
    rec += bytes(12 * 32)
    assert len(rec) == 2036
    return rec


def lport_record(unit, port, lport, medium=0, split=None):
    split = split or split_info()
    key = ((unit << 9) & 0xE00) | (port & 0x1FF)
    return struct.pack("<iBBBB2x", key, lport, medium, 1, 1 if split != split_info() else 0) + split


def chipid_slot(status, gslot, ids, per_unit=1, card_type=7):
    ids = list(ids)
    return struct.pack("<iiiHH16H", status, gslot, card_type, per_unit, len(ids), *(ids + [0] * (16 - len(ids))))


def addr_data(sync_type, records):
    body = b"".join(records)
    return struct.pack("<iii", 12 + len(body), sync_type, len(records)) + body


# ---- one corpus per target ---------------------------------------------------------------


def data_seeds():
    split = split_info([(1, 4), (2, 2)], default=1, children=range(2, 8))
    lports = [lport_record(0, 1, 1), lport_record(0, 2, 2, medium=2, split=split), lport_record(1, 1, 3)]
    pre_inst = struct.pack("<i", 2) + bytes([1, 1, 0, 0, 2, 3, 0, 0]) + bytes(1024 - 8)
    return {
        "port_info": message(0, port_record(1, 1, 0, 1, 1, 0x101, 7)),
        "port_parent": message(0, port_record(1, 2, 1, 4, 1, 0x102, 8, split)),
        "port_ifx": message(1, struct.pack("<ii", dm_phyid(1, 1, 0, 1), 0x201)),
        "port_rmv": message(2, struct.pack("<i", dm_phyid(1, 1, 0, 1))),
        "card_cfg": message(3, card_record(5, 2, 24)),
        "chip_cfg": message(4, struct.pack("<iiii", 1, 3, 255, 0)),
        "my_lport": message(5, struct.pack("<i", len(lports)) + b"".join(lports)),
        "phy_mgmt": message(7, struct.pack("<iIiB3x", 1, 0x300, 0, 1)),
        "fc_start_begin": message(8, struct.pack("<i", 2)),
        "fc_start_chunk": message(9, struct.pack("<iiiiii", 0, 1, 0x06010101, 7, 0x06010102, 7)),
        "fc_start_over": message(10, b""),
        "fc_save_begin": message(11, struct.pack("<i", 1)),
        "fc_save_chunk": message(12, struct.pack("<iiii", 0, 0, 0x06010103, 2)),
        "fc_save_over": message(13, b""),
        "pre_inst": message(15, pre_inst),
    }


def rpc_seeds():
    req = message(6, struct.pack("<iiB3x", node(1, 1), 3, 1))
    return {
        "port_valid": bytes([8]) + req,
        "port_valid_fail": bytes([0x81]) + req,
        "port_valid_long_reply": bytes([0x7F]) + req + bytes(128),
    }


def addr_seeds():
    return {
        "batch": addr_data(0, [chipid_slot(1, 1, [40, 41], 1), chipid_slot(1, 33, [60, 61, 62, 63], 2)]),
        "real": addr_data(1, [chipid_slot(1, 2, [50, 51, 52, 53, 54], 2)]),
        "release": addr_data(1, [chipid_slot(0, 2, [])]),
        "empty_batch": addr_data(0, []),
    }


def dbg_seeds():
    return {"fcdbg": b"fcdbg 3", "fcdbg_negative": b"fcdbg -1", "other": b"FCDBG 2"}


# Step codes of fuzz_sequence.cpp, in its order.
(ADD_PORT, SET_IFX, RMV_PORT, CARD_CFG, CHIP_CFG, MY_LPORT, PHY_MGMT, FC_BEGIN, FC_CHUNK, FC_OVER,
 PRE_INST, CHIPID_DATA, BATCH, SHOW, RPC, IDENTITY, BS_OVER, RAW, QUERY) = range(19)


def step(op, *fields):
    return bytes([op]) + bytes(f & 0xFF for f in fields)


def port_key(dev, slot, unit, cport):
    return ((dev - 1) << 7) | ((slot - 1) << 5) | (unit << 4) | cport


def sequence_seeds():
    k0 = port_key(1, 1, 0, 1)
    k1 = port_key(1, 1, 1, 2)
    k2 = port_key(2, 3, 0, 5)
    split = [2, 1, 4, 2, 0, 0]  # two modes of 4 and 2 children
    ports = (step(ADD_PORT, k0, 1, 3, 0x11, *split) + step(ADD_PORT, k1, 2, 4, 0x20, *split)
             + step(ADD_PORT, k2, 0x21, 5, 0x01, 0, 0, 0, 0, 0, 0))
    chipids = step(CHIPID_DATA, 0, 2, 0, 1, 1, 7, 1, 2, 5, 1, 1, 3, 7, 2, 4, 9, 1)
    card = step(CARD_CFG, 1, 2, 12, 0x12, 1, 2, 0, 0, 0, 0, 0, 0) + b"linecard"
    lports = step(MY_LPORT, 2, 0x01, 1, 2, *split, 0x12, 2, 0, 0, 0, 0, 0, 0)
    fc = (step(FC_BEGIN, 0, 2) + step(FC_CHUNK, 0, 0, 1, 1, 7, 2, 7) + step(FC_OVER, 0)
          + step(FC_BEGIN, 1, 1) + step(FC_CHUNK, 1, 0, 0, 3, 2) + step(FC_OVER, 1))
    # Query q reads q, a port key and a 32-bit argument; the split-port
    # queries (q < 6) then a port key, a 16-bit lport and a mode (-1: default).
    queries = b"".join(step(QUERY, q, k0, 1, 0, 0, 0, *([k0, 1, 0, 0xFF] if q < 6 else []))
                       for q in range(24))
    return {
        "ports": ports + step(SET_IFX, k1, 3) + step(RMV_PORT, k2) + step(SHOW, 0),
        "chipids": step(BS_OVER, 1) + chipids + step(BATCH, 1) + step(QUERY, 19, 0),
        "config": card + step(CHIP_CFG, 1, 3, 9, 0) + lports + step(IDENTITY, 1, 1, 1, 3, 1),
        "mgmt": step(PHY_MGMT, 1, 3, 0, 0) + step(PHY_MGMT, 2, 4, 1, 1) + step(SHOW, 1),
        "fc": fc + step(SHOW, 2) + step(SHOW, 4),
        "pre_inst_rpc": ports + step(PRE_INST, 2, 0, 1, 1, 1) + step(RPC, 1, 1, 3, 1, 8),
        "raw": step(RAW, 1, 1, 0, 8, *struct.pack("<ii", dm_phyid(1, 1, 0, 1), 9)),
        "everything": ports + chipids + card + lports + fc + queries,
    }


def main():
    root = sys.argv[1] if len(sys.argv) > 1 else os.path.join(HERE, "corpus")
    targets = {
        "fuzz_data": data_seeds(),
        "fuzz_rpc": rpc_seeds(),
        "fuzz_addr": addr_seeds(),
        "fuzz_dbg": dbg_seeds(),
        "fuzz_sequence": sequence_seeds(),
    }
    for target, seeds in targets.items():
        d = os.path.join(root, target)
        os.makedirs(d, exist_ok=True)
        for name, data in seeds.items():
            with open(os.path.join(d, "seed_" + name), "wb") as f:
                f.write(data)
    print("seeds written under", root)


if __name__ == "__main__":
    main()
