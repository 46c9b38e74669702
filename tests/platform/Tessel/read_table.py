#!/usr/bin/env python3
"""Reads a GMP status table, written from docs/table-format.md alone, to prove that page.

Usage: read_table.py DIRECTORY. Prints one line a membership, in no particular order: the VRF name in hexadecimal,
the application, the VLAN, the source's family and bytes, the group's family and bytes, the filter mode. Each
membership is found by a walk and then again by looking its key up. Exit status 1 if anything is damaged.
"""

import struct
import sys

PAGE = 4096
WORD = (1 << 64) - 1


def make_crc_table():
    table = []
    for byte in range(256):
        crc = byte
        for _ in range(8):
            crc = crc >> 1 ^ (0x82F63B78 if crc & 1 else 0)
        table.append(crc)
    return table


CRC = make_crc_table()


def checksum(data, crc=0xFFFFFFFF):
    for byte in data:
        crc = crc >> 8 ^ CRC[(crc ^ byte) & 0xFF]
    return crc


def words(*values):
    return struct.pack("<%dQ" % len(values), *values)


def fold(a, b):
    product = a * b
    return product >> 64 ^ product & WORD


class Damage(Exception):
    pass


class Table:
    def __init__(self, directory):
        with open(directory + "/table", "rb") as file:
            self.data = file.read()
        header = self.data[:80]
        if header[:8] != b"GMPTABLE":
            raise Damage("not a table")
        mark, version, page, log = struct.unpack_from("<4I", header, 8)
        if (mark, version, page, log) != (0x01020304, 1, PAGE, 4096):
            raise Damage("another version")
        if struct.unpack_from("<I", header, 76)[0] != checksum(header[:76] + bytes(4)):
            raise Damage("header")
        self.seeds = struct.unpack_from("<5Q", header, 32)
        self.changes = self.word(PAGE)

    def word(self, offset):
        return struct.unpack_from("<Q", self.data, offset)[0]

    def statuses(self):
        for number in range(512):
            reference = self.word(2 * PAGE + number * 8)
            if reference == 0:
                return
            page = reference & 0xFFFFFFFF
            if reference >> 32 != page ^ 0xFFFFFFFF:
                raise Damage("list of statuses")
            for entry in range(21):
                offset = page * PAGE + entry * 192
                if self.word(offset) != 0:
                    yield Status(self, offset)

    def hash(self, key):
        k, s = struct.unpack("<5Q", key), self.seeds
        return fold(fold(k[0] ^ s[0], k[1] ^ s[1]) ^ k[4], fold(k[2] ^ s[2], k[3] ^ s[3]) ^ s[4])


class Status:
    def __init__(self, table, offset):
        self.table = table
        life, self.id, description = struct.unpack_from("<3Q", table.data, offset)
        name = table.data[offset + 24 : offset + 128]
        if life != self.id or description >> 32 != checksum(
            words(self.id, description & 0xFFFFFFFF) + name
        ):
            raise Damage("status entry")
        self.app = description & 0xFF
        self.name = name[: description >> 8 & 0xFF]
        self.start = checksum(words(self.id))
        self.read_directory(table.word(offset + 128))

    def read_directory(self, root):
        offset = (root & 0xFFFFFFFF) * PAGE
        data = self.table.data
        magic, status, generation, crc = struct.unpack_from("<8s3Q", data, offset)
        self.depth = generation >> 32
        end = offset + 32 + (8 << self.depth)
        if magic != b"GMPTDIR1" or status != self.id or generation & 0xFFFFFFFF != root >> 32:
            raise Damage("directory")
        if crc != checksum(data[offset : offset + 24] + data[offset + 32 : end]):
            raise Damage("directory checksum")
        self.entries = struct.unpack_from("<%dQ" % (1 << self.depth), data, offset + 32)

    def segments(self):
        last = None
        for entry in self.entries:
            if entry != last:
                yield Segment(self, entry & 0xFFFFFFFF, entry >> 32)
            last = entry

    def segment_of(self, hash_):
        entry = self.entries[hash_ >> (64 - self.depth) if self.depth else 0]
        return Segment(self, entry & 0xFFFFFFFF, entry >> 32)


class Segment:
    def __init__(self, status, page, pages):
        self.status = status
        self.groups = (PAGE * pages - 63) // 784
        self.tags = page * PAGE
        self.records = self.tags + (16 * self.groups + 63) // 64 * 64

    def read(self, place):
        """The key and the filter mode at a place whose tag says that it is used."""
        offset = self.records + place * 48
        record = self.status.table.data[offset : offset + 48]
        state = struct.unpack_from("<Q", record, 40)[0]
        bare = words(state & ~0xFFFFFFFF)
        if state >> 40 & 0xFF == 2 and state & 0xFFFFFFFF == checksum(bare, self.status.start):
            return None
        if state >> 40 & 0xFF != 1 or state & 0xFFFFFFFF != checksum(
            record[:40] + bare, self.status.start
        ):
            raise Damage("record")
        return record[:40], state >> 32 & 0xFF

    def walk(self):
        for place in range(self.groups * 16):
            tag = self.status.table.data[self.tags + place]
            if bin(tag).count("1") % 2:
                raise Damage("tag")
            if tag not in (0, 0x81):
                found = self.read(place)
                if found:
                    yield found

    def look_up(self, key):
        hash_ = self.status.table.hash(key)
        bits = hash_ >> 32 & 0x7F
        bits += 2 if bits < 2 else 0
        wanted = bits | bin(bits).count("1") % 2 << 7
        group = (hash_ & 0xFFFFFFFF) * self.groups >> 32
        for _ in range(self.groups):
            first = self.tags + group * 16
            tags = self.status.table.data[first : first + 16]
            for number, tag in enumerate(tags):
                if tag == wanted:
                    found = self.read(group * 16 + number)
                    if found and found[0] == key:
                        return found
            if 0 in tags:
                break
            group = (group + 1) % self.groups
        return None


def line(status, key, mode):
    intf, source_family, group_family = struct.unpack_from("<IBB", key, 32)
    if intf >> 30 != 1:
        raise Damage("not a VLAN interface")
    return "%s %d %d %d:%s %d:%s %d" % (
        status.name.hex(),
        status.app,
        intf & 0x3FFFFFFF,
        source_family,
        key[:16].hex(),
        group_family,
        key[16:32].hex(),
        mode,
    )


def main():
    table = Table(sys.argv[1])
    for status in table.statuses():
        for segment in status.segments():
            for key, mode in segment.walk():
                if status.segment_of(table.hash(key)).look_up(key) != (key, mode):
                    raise Damage("a record cannot be found by its key")
                print(line(status, key, mode))


if __name__ == "__main__":
    try:
        main()
    except Damage as damage:
        sys.exit("damaged: %s" % damage)
