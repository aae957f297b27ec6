#!/usr/bin/env python3
"""read-table.py DIRECTORY: prints all rows of all tables in a directory in shared memory.

Written from docs/tarn-format.md alone, to prove that page: finds each row a second time by the hash
of its key, and checks every checksum. Status 1, and a line for each, when something is damaged.
"""
import glob, ipaddress, os, re, struct, sys

MASK = 2**64 - 1
HEAD_SEED = 0x5441524E48454144
K = (0x8EBC6AF09C88C6E3, 0x589965CC75374CC3, 0x1D8E4E27C47D124F, 0xEB44ACCAB455D165)


class Damage(Exception):
    pass


# ---- Hash and checksum --------------------------------------------------------------------------

def fold(a, b):
    product = a * b
    return (product & MASK) ^ (product >> 64)


def numbers(data):
    return [int.from_bytes(data[at:at + 8], "little") for at in range(0, len(data), 8)]


def hash_of(seed, key):
    other = (seed * 0x9E3779B97F4A7C15 | 1) & MASK
    h = seed ^ (len(key) * 0xD6E8FEB86659FD93 & MASK)
    for at in range(0, len(key), 16):
        first, second, *_ = numbers(key[at:at + 16]) + [0, 0]
        h = fold(h ^ first, second ^ other)
    return fold(h ^ 0xA0761D6478BD642F, 0xE7037ED1A0B428DB ^ other)


def checksum(seed, sequence, row):
    u = numbers(row)
    h = ((seed ^ len(row)) + sequence * K[0]) & MASK
    if len(u) > 8:
        a, b, c, d = h, h ^ K[1], h ^ K[2], h ^ K[3]
        while len(u) > 8:
            a, b = fold(a ^ u[0], u[1] ^ K[0]), fold(b ^ u[2], u[3] ^ K[1])
            c, d = fold(c ^ u[4], u[5] ^ K[2]), fold(d ^ u[6], u[7] ^ K[3])
            u = u[8:]
        h = fold(a ^ c, b ^ d ^ K[0]) ^ ((a + b + c + d) & MASK)
    while len(u) >= 2:
        h = fold(h ^ u[0], u[1] ^ K[1])
        u = u[2:]
    if u:
        h = fold(h ^ u[0], K[2])
    return (h ^ (h >> 32)) & 0xFFFFFFFF


# ---- Rows ---------------------------------------------------------------------------------------

def leaf(kind, data):
    def address(family, data):
        return str(ipaddress.ip_address(data[:{1: 4, 2: 16}[family]])) if family else "none"
    if kind == "Netbase::IpGenAddr":
        return address(data[0], data[1:])
    if kind == "Netbase::IpGenPrefix":
        return f"{address(data[0], data[1:17])}/{data[17]}"
    if kind == "Netbase::IntfId":
        return data.rstrip(b"\0").decode()
    if kind == "Mpls::LabelStack":
        stack = data[1:1 + 3 * data[0]]
        return [int.from_bytes(stack[at:at + 3], "big") for at in range(0, len(stack), 3)]
    if kind == "double":
        return struct.unpack("<d", data)[0]
    return int.from_bytes(data, "little", signed=bool(re.fullmatch(r"S\d+", kind)))


def leaves(schema, row):
    """(field, value) for each; what stands behind an array moves with its size."""
    array, at, behind = None, 0, 0
    for line in schema.splitlines()[1:]:  # the first names the row type
        head = re.fullmatch(r"(.*)\[(\d+)\] (\d+) @(\+?)(\d+)", line)
        if head:
            at = int(head[5]) + (behind if head[4] else 0)
            size, count = int(head[3]), int.from_bytes(row[at:at + 2], "little")
            array, behind = (at + 2, size, count), at + 2 + size * count
            continue
        field, kind, size, offset = re.fullmatch(r"(\S+) (\S+) (\d+) @(\S+)", line).groups()
        if "[]" in field:
            first, step, count = array
            places = [first + step * i + int(offset) for i in range(count)]
            yield field, [leaf(kind, row[p:p + int(size)]) for p in places]
        else:
            at = int(offset) + (behind if offset[0] == "+" else 0)
            yield field, leaf(kind, row[at:at + int(size)])


# ---- Tables -------------------------------------------------------------------------------------

class Table:
    def __init__(self, folder, name):
        self.folder, self.name, self.files = folder, name, {}
        self.head = self.file(f"{name}.head")
        fixed = self.head[:2696]
        if fixed[:8] != b"TARNHEAD" or self.word(8, 4) != 1:
            raise Damage("no head of layout version 1")
        if checksum(HEAD_SEED, 0, fixed[:12] + bytes(4) + fixed[16:]) != self.word(12, 4):
            raise Damage("the head's checksum is wrong")
        self.seed, self.generation = self.word(24), self.word(32)
        self.key_size, self.page_words = self.word(40, 4), self.word(52, 4)
        self.schema = self.head[136:136 + min(2560, self.word(68, 4))].decode()

    def word(self, offset, size=8):
        return int.from_bytes(self.head[offset:offset + size], "little")

    def file(self, name, again=False):
        if again or name not in self.files:
            with open(os.path.join(self.folder, name), "rb") as file:
                self.files[name] = file.read()
        return self.files[name]

    def part(self, kind, number):
        return self.file(f"{self.name}.{self.generation:016x}.{kind}{number}")

    def entry(self, h):
        depth = self.word(3072)
        at = 8 * (h >> (64 - depth) if depth else 0)
        entry = int.from_bytes(self.part("dir", depth)[at:at + 8], "little")
        return entry & (2**28 - 1), entry >> 28 & 63

    def page(self, number):
        chunk = number.bit_length()
        at = 8 * self.page_words * (number - (2**(chunk - 1) if chunk else 0))
        return numbers(self.part("pages", chunk)[at:at + 8 * self.page_words])

    def record(self, word):
        """The row that a word names."""
        segment = self.part("seg", word >> 19 & (2**20 - 1))
        at = (word & (2**19 - 1)) * 8
        size, check, sequence = struct.unpack_from("<IIQ", segment, at)
        row = segment[at + 16:at + 16 + size]
        padded = row + bytes(-size % 8)
        if len(row) < size or size < self.key_size:
            raise Damage(f"record at {at}: does not fit its segment")
        if checksum_of(self.seed, sequence, padded, size) != check:
            raise Damage(f"record at {at}: checksum is wrong")
        return row

    def words(self):
        depth = self.word(3072)
        entries = numbers(self.part("dir", depth)[:8 * 2**depth])
        for number in sorted({entry & (2**28 - 1) for entry in entries}):
            yield from (w for w in self.page(number) if (w & (2**19 - 1)) * 8 >= 64)

    def find(self, key):
        h = hash_of(self.seed, key)
        number, own_depth = self.entry(h)
        page = self.page(number)
        first = ((h << own_depth & MASK) >> (64 - self.page_words.bit_length() + 1)) & ~7
        for line in range(first, first + self.page_words, 8):
            words = [page[(line + i) % self.page_words] for i in range(8)]
            for word in words:
                if word >> 39 == h >> 39 and (word & (2**19 - 1)) * 8 >= 64:
                    row = self.record(word)
                    if row[:self.key_size] == key:
                        return row
            if 0 in words:
                return None
        return None


def checksum_of(seed, sequence, padded, size):
    """As the page has it: `bytes` is the size of the row without its zeros."""
    return checksum(seed ^ len(padded) ^ size, sequence, padded)


def rows(table):
    damaged = []
    for word in table.words():
        try:
            row = table.record(word)
            if table.find(row[:table.key_size]) != row:
                raise Damage("a row is not found by its key")
            fields = " ".join(f"{field}={value}" for field, value in leaves(table.schema, row))
            yield f"{table.name}: {fields}"
        except Damage as damage:
            damaged.append(str(damage))
    if damaged:
        raise Damage(f"{'; '.join(damaged[:5])}; {len(damaged)} rows in all")


def look(folder, name):
    """Lines and damage. A writer that lives changes what is below us: only what is found twice counts."""
    before = None
    while True:
        lines, damage = [], ""
        try:
            lines = sorted(rows(Table(folder, name)))
        except FileNotFoundError as gone:
            damage = str(gone)
        except Damage as found:
            damage = str(found)
        if not damage or damage == before:
            return lines, damage
        before = damage


def main(folder):
    status = 0
    for head in sorted(glob.glob(os.path.join(glob.escape(folder), "*.head"))):
        name = os.path.basename(head)[:-5]
        lines, damage = look(folder, name)
        for line in lines:
            print(line)
        if damage:
            print(f"{name}: damaged: {damage}", file=sys.stderr)
            status = 1
    sys.exit(status)


main(sys.argv[1])
