#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Lists the records of a .qolm file, or counts them by type.

    tools/qolm_records.py FILE

Reads the header and walks the record headers only; payloads are not decoded.
The layout is described in docs/format.md and src/container/layout.h.
"""

import collections
import struct
import sys

HEADER_BYTES = 48
RECORD_HEADER_BYTES = 8
KEY_FRAME, PREDICTED, AUDIO_BLOCK, BIDIRECTIONAL, REPEAT_RUN = 1, 2, 3, 4, 5
INDEX, AUDIO_PACKET = 7, 8
FAST_START_FLAG = 0x0400

Header = collections.namedtuple(
    "Header",
    "magic version flags width height fps_num fps_den frame_count gop coder_param_a coder_param_b "
    "coder_param_c audio_rate audio_channels audio_param duration_ms",
)
Record = collections.namedtuple("Record", "offset type count frame_no size")


class MalformedFile(Exception):
    """The bytes are not a complete, finished file."""


def read_file(path):
    """Returns (header, records) of a finished file; raises MalformedFile."""
    with open(path, "rb") as stream:
        data = stream.read()
    if len(data) < HEADER_BYTES:
        raise MalformedFile("shorter than its header")
    header = Header(*struct.unpack_from("<4sI3H3I5HBBI", data))
    if header.magic != b"QLM2" or header.version != 2:
        raise MalformedFile("no version-2 header")
    end = len(data)
    if not header.flags & FAST_START_FLAG:
        if end < HEADER_BYTES + 4:
            raise MalformedFile("no trailing index")
        (entries,) = struct.unpack_from("<I", data, end - 4)
        end -= 4 + 8 * entries
    records = []
    position = HEADER_BYTES
    while position < end:
        if position + RECORD_HEADER_BYTES > end:
            raise MalformedFile(f"half a record header at {position}")
        record = Record(position, *struct.unpack_from("<BBHI", data, position))
        position += RECORD_HEADER_BYTES + record.size
        if position > end:
            raise MalformedFile(f"the record at {record.offset} passes the end of the records")
        records.append(record)
    return header, records


def frames_of(record):
    """How many display frames a record stands for."""
    if record.type in (AUDIO_BLOCK, INDEX, AUDIO_PACKET):
        return 0
    return record.count if record.type == REPEAT_RUN else 1


def index_bytes(records):
    """Bytes of the reserved front index, its record header included."""
    return sum(RECORD_HEADER_BYTES + r.size for r in records if r.type == INDEX)


def count_by_type(records):
    return dict(sorted(collections.Counter(r.type for r in records).items()))


def main(arguments):
    if len(arguments) != 1:
        print(__doc__.strip(), file=sys.stderr)
        return 2
    try:
        header, records = read_file(arguments[0])
    except (OSError, MalformedFile) as error:
        print(f"{arguments[0]}: {error}", file=sys.stderr)
        return 1
    print(header)
    names = {1: "key frame", 2: "predicted", 3: "audio block", 4: "bidirectional",
             5: "repeat run", 7: "index", 8: "audio packet"}
    for record in records:
        print(f"{record.offset:12d}  {names.get(record.type, record.type):13}  "
              f"frame {record.frame_no:5d}  x{frames_of(record):<3d}  {record.size:9d} bytes")
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
