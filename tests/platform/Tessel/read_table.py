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
NO_LIFE = 0x5A5A5A5A5A5A5A5A
TAG_BITS = 0x007F7F7F7F7F7F7F
SIP_TEXT = (0x736F6D6570736575, 0x646F72616E646F6D, 0x6C7967656E657261, 0x7465646279746573)


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


def paired(word):
    return word >> 32 == word & 0xFFFFFFFF ^ 0xFFFFFFFF


def check_sum(total, current, next_, what):
    for guard in current, next_:
        if guard >> 32 & 1 and guard & 0xFFFFFFFF == total & 0xFFFFFFFF:
            return
    raise Damage("sum over the " + what)


def rotate(word, bits):
    return (word << bits | word >> 64 - bits) & WORD


def sip_hash(seeds, values):
    v = [seed ^ text for seed, text in zip(seeds * 2, SIP_TEXT)]

    def round_():
        v[0] = v[0] + v[1] & WORD
        v[1] = rotate(v[1], 13) ^ v[0]
        v[0] = rotate(v[0], 32)
        v[2] = v[2] + v[3] & WORD
        v[3] = rotate(v[3], 16) ^ v[2]
        v[0] = v[0] + v[3] & WORD
        v[3] = rotate(v[3], 21) ^ v[0]
        v[2] = v[2] + v[1] & WORD
        v[1] = rotate(v[1], 17) ^ v[2]
        v[2] = rotate(v[2], 32)

    for value in values + (len(values) * 8 << 56,):
        v[3] ^= value
        round_()
        v[0] ^= value
    v[2] ^= 0xFF
    for _ in range(3):
        round_()
    return v[0] ^ v[1] ^ v[2] ^ v[3]


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
        if (mark, version, page) != (0x01020304, 3, PAGE):
            raise Damage("another version")
        if struct.unpack_from("<I", header, 76)[0] != checksum(header[:76] + bytes(4)):
            raise Damage("header")
        self.seeds = struct.unpack_from("<5Q", header, 32)
        self.salt = struct.unpack_from("<I", header, 24)[0]
        self.first_entry_page = 2 + log // 64

    def word(self, offset):
        return struct.unpack_from("<Q", self.data, offset)[0]

    def statuses(self):
        pages, last, current, next_ = struct.unpack_from("<4Q", self.data, PAGE + 64)
        if not paired(pages) or not paired(last):
            raise Damage("control page")
        total = self.salt
        for number in range((pages >> 32) * 21):
            page, entry = self.first_entry_page + number // 21, number % 21
            offset = page * PAGE + entry * 192
            if self.word(offset) == NO_LIFE:
                continue
            status = Status(self, offset)
            root = self.word(offset + 128)
            total += fold(
                status.id ^ 0xD6E8FEB86659FD93,
                fold((root + number) & WORD, 0x9E3779B97F4A7C15),
            )
            yield status
        check_sum(total, current, next_, "list of statuses")

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
        magic, status, generation, sizes, crc = struct.unpack_from("<8s4Q", data, offset)
        begin, size = offset + 48, sizes & 0xFFFFFFFF
        end = begin + 8 * size
        if magic != b"GMPTDIR2" or status != self.id or generation & 0xFFFFFFFF != root >> 32:
            raise Damage("directory")
        right = checksum(data[offset : offset + 32] + data[begin:end])
        if not paired(crc) or crc >> 32 != right:
            raise Damage("directory checksum")
        self.guards = offset + (48 + 8 * size + 15) // 16 * 16
        self.nodes = []
        for _ in range(generation >> 32):
            depth, *seeds = struct.unpack_from("<3Q", data, begin)
            entries = struct.unpack_from("<%dQ" % (1 << depth), data, begin + 24)
            self.nodes.append((depth, tuple(seeds), entries))
            begin += 24 + (8 << depth)

    def segments(self, node=0):
        last = None
        for entry in self.nodes[node][2]:
            if entry == last:
                continue
            last = entry
            if entry >> 63:
                yield from self.segments(entry & 0xFFFFFFFF)
            else:
                yield Segment(self, entry)

    def find(self, key):
        """The segment of a key, and the key's hash there."""
        node, hash_ = 0, self.table.hash(key)
        while True:
            depth, _, entries = self.nodes[node]
            entry = entries[hash_ >> (64 - depth) if depth else 0]
            if not entry >> 63:
                return Segment(self, entry), hash_
            node = entry & 0xFFFFFFFF
            hash_ = sip_hash(self.nodes[node][1], struct.unpack("<5Q", key))


class Segment:
    def __init__(self, status, entry):
        self.status = status
        page, pages, number = entry & 0xFFFFFFFF, entry >> 32 & 0xFF, entry >> 40
        self.groups = (PAGE * pages - 63) // 688
        self.tags = page * PAGE
        self.records = self.tags + (16 * self.groups + 63) // 64 * 64
        self.salt = checksum(words(page), status.start)
        self.guard = status.guards + 16 * number

    def tag_word(self, number):
        """Seven tags, once their checksum is found right."""
        word = self.status.table.word(self.tags + 8 * number)
        turned = rotate(word & TAG_BITS, 31)
        crc = checksum(words(turned), self.salt + number & 0xFFFFFFFF)
        check = (crc ^ crc << 31) & 0x7F80808080808080 | 1 << 63
        if word != word & TAG_BITS | check:
            raise Damage("tag")
        return [word >> 8 * i & 0x7F for i in range(7)]

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
        total = self.salt
        for number in range(self.groups * 2):
            for i, tag in enumerate(self.tag_word(number)):
                if tag < 2:
                    continue
                place = number * 7 + i
                found = self.read(place)
                if found:
                    state = self.status.table.word(self.records + place * 48 + 40)
                    total += fold(state ^ tag << 33, 0x9E3779B97F4A7C15)
                    yield found
        current, next_ = struct.unpack_from("<2Q", self.status.table.data, self.guard)
        check_sum(total, current, next_, "segment")

    def look_up(self, key, hash_):
        wanted = hash_ >> 32 & 0x7F
        wanted += 2 if wanted < 2 else 0
        group = ((hash_ & 0xFFFFFFFF) * self.groups * 14 >> 32) // 14
        for _ in range(self.groups):
            tags = self.tag_word(2 * group) + self.tag_word(2 * group + 1)
            for number, tag in enumerate(tags):
                if tag == wanted:
                    found = self.read(group * 14 + number)
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
                where, hash_ = status.find(key)
                if where.look_up(key, hash_) != (key, mode):
                    raise Damage("a record cannot be found by its key")
                print(line(status, key, mode))


if __name__ == "__main__":
    try:
        main()
    except Damage as damage:
        sys.exit("damaged: %s" % damage)
