#!/usr/bin/env python3
"""read-path.py SOCKET PATH TYPE [SCHEMA-FILE]: prints what the central database holds at a path.

Written from docs/centrum-protocol.md alone, to prove that page. With the schema text of the type in a
file, keys and values are shown as what they are; without it, as hexadecimal bytes.
"""
import ipaddress, re, socket, struct, sys

HELLO, MOUNT, WELCOME, MOUNTED, DELTA, MARK, BYE = 1, 2, 7, 8, 9, 10, 14
PUT, ERASE, CREATE, RENEW, END = 1, 2, 3, 4, 5


class Bytes:
    """Takes bytes from the front."""

    def __init__(self, data):
        self.data, self.at = data, 0

    def take(self, count):
        taken = self.data[self.at:self.at + count]
        if len(taken) < count:
            raise ValueError("the bytes end too soon")
        self.at += count
        return taken

    def number(self, size):
        return int.from_bytes(self.take(size), "little")

    def string(self):
        return self.take(self.number(4))

    def length(self):
        shift = length = 0
        while True:
            group = self.number(1)
            length |= (group & 0x7F) << shift
            if group < 0x80:
                return length
            shift += 7

    def rest(self):
        return self.take(len(self.data) - self.at)

    def ended(self):
        return self.at == len(self.data)


# ---- Types --------------------------------------------------------------------------------------

STRINGS = {"Forma::String8", "Forma::Name", "Netbase::IntfId", "Netbase::GenericIntfId",
           "L3::VrfName"}
NETWORK = {"Netbase::EthAddr": 6, "Netbase::NetU16": 2, "Netbase::NetU32": 4}
WIDE_ENUMERATIONS = {"Mpls::LFib::Source", "Mpls::LfibViaType", "Mpls::LfibHwReason",
                     "Mpls::LfibHwProgrammingReturnCode"}


def address(data, family):
    size = {0: 0, 1: 4, 2: 16}[family]
    return str(ipaddress.ip_address(bytes(data.take(size)))) if size else "none"


class Schema:
    def __init__(self, text):
        self.hash = 0xCBF29CE484222325
        for byte in text.encode():
            self.hash = (self.hash ^ byte) * 0x100000001B3 % 2**64
        self.members, self.fields, self.names = {}, {}, {}
        for line in text.splitlines():
            name, *parts = line.split(", ")
            if name.endswith(" entity"):
                members = [re.match(r"(\w+): (\w+) \[(.*)\] ([^ ]+)( = (\w*))?$", part)
                           for part in parts]
                self.members[name[:-7]] = [m.groups() for m in members if m]
            elif " = " in line:
                numbers = [part.split(" = ") for part in parts]
                self.names[name[:-6]] = {int(number): word for word, number in numbers}
            elif name.endswith(" value") and parts:
                self.fields[name[:-6]] = [part.split(": ") for part in parts]

    def value(self, kind, data):
        """The value of a type at the front of the bytes."""
        if kind in self.fields:
            return {name: self.value(of, data) for name, of in self.fields[kind]}
        if kind in self.names:
            return self.names[kind][data.number(4 if kind in WIDE_ENUMERATIONS else 1)]
        if kind in STRINGS:
            return data.string().decode()
        if kind in NETWORK:
            return data.take(NETWORK[kind]).hex()
        if re.fullmatch(r"[US]\d+", kind):
            return int.from_bytes(data.take(int(kind[1:]) // 8), "little", signed=kind[0] == "S")
        if kind == "double":
            return struct.unpack("<d", data.take(8))[0]
        if kind == "Netbase::IpGenPrefix":
            return f"{address(data, data.number(1))}/{data.number(1)}"
        return {"bool": lambda: data.number(1) == 1,
                "Netbase::MplsLabel": lambda: data.number(4),
                "Netbase::VlanId": lambda: data.number(2),
                "Netbase::IpAddr": lambda: address(data, 1),
                "Netbase::Ip6Addr": lambda: address(data, 2),
                "Netbase::IpGenAddr": lambda: address(data, data.number(1)),
                "Mpls::LabelStack": lambda: [data.number(4) for _ in range(data.number(4))],
                }[kind]()


# ---- Content ------------------------------------------------------------------------------------

class Entity:
    """What is there, by (member, key): bytes, or the entity that a child or reference is."""

    def __init__(self, arguments=b""):
        self.arguments, self.content = arguments, {}

    def apply(self, records):
        data, inside = Bytes(records), [self]
        while not data.ended():
            operation = data.number(1)
            if operation == END:
                inside.pop()
                continue
            member = data.number(1)
            place = member, bytes(data.take(data.length()))
            here = inside[-1].content
            if operation == ERASE:
                here.pop(place, None)
                continue
            value = bytes(data.take(data.length()))
            if operation == PUT:
                here[place] = value
                continue
            if place not in here or here[place].arguments != value or operation == RENEW:
                here[place] = Entity(value)
            inside.append(here[place])
        if len(inside) != 1:
            raise ValueError("a child was not ended")

    def opaque(self, before=""):
        for (member, key), value in self.content.items():
            place = f"{before}{member}[{key.hex()}]"
            if isinstance(value, Entity):
                yield place
                yield from value.opaque(place + ".")
            else:
                yield f"{place} = {value.hex()}"

    def shown(self, schema, kind, before=""):
        for (number, key), value in self.content.items():
            name, member, key_type, of, *_ = schema.members[kind][number]
            place = before + name
            if key_type:
                place += f"[{schema.value(key_type, Bytes(key))}]"
            if member.startswith("reference"):
                data = Bytes(value)
                value = Entity(data.take(data.length()))
                value.apply(data.rest())
            if isinstance(value, Entity):
                yield place
                yield from value.shown(schema, of.removesuffix(" const"), place + ".")
            else:
                yield f"{place} = {schema.value(of, Bytes(value))}"


# ---- Connection ---------------------------------------------------------------------------------

class Connection:
    def __init__(self, path):
        self.socket = socket.socket(socket.AF_UNIX)
        self.socket.connect(path)

    def send(self, kind, *fields):
        body = bytes([kind]) + b"".join(fields)
        self.socket.sendall(len(body).to_bytes(4, "little") + body)

    def receive(self):
        frame = Bytes(self.exactly(int.from_bytes(self.exactly(4), "little")))
        kind = frame.number(1)
        if kind == BYE:
            sys.exit("the server says: " + frame.string().decode())
        return kind, frame

    def exactly(self, count):
        data = b""
        while len(data) < count:
            more = self.socket.recv(count - len(data))
            if not more:
                sys.exit("the server closed the connection")
            data += more
        return data


def string(text):
    return len(text.encode()).to_bytes(4, "little") + text.encode()


def mount(connection, path, kind, schema):
    """The number of the path; waits until it is published."""
    connection.send(MOUNT, (1).to_bytes(4, "little"), string(path), string(kind),
                    schema.to_bytes(8, "little"), b"\0", (4711).to_bytes(8, "little"), bytes(16))
    while True:
        what, frame = connection.receive()
        if what != MOUNTED:
            continue
        frame.number(4)
        status, number = frame.number(1), frame.number(4)
        frame.take(9)
        text = frame.string().decode()
        if status == 4:
            return number
        other = re.search(r"([0-9a-f]{16}) in the database$", text)
        if status == 1 and other and not schema:
            return mount(connection, path, kind, int(other[1], 16))
        if status != 0:
            sys.exit(f"status {status}: {text}")


def read(connection, number):
    """The content of a path, as of the first complete Mark behind its snapshot."""
    entity, records, whole = Entity(), b"", False
    while True:
        what, frame = connection.receive()
        if what == DELTA and frame.number(4) == number:
            begin, end, more = (frame.number(1) for _ in range(3))
            if begin:
                entity = Entity()
            records += frame.rest()
            whole |= bool(end)
            if not more:
                entity.apply(records)
                records = b""
        elif what == MARK:
            frame.number(8)
            if frame.number(1) and whole:
                return entity


def main(address, path, kind, schema_file=None):
    schema = None
    if schema_file:
        with open(schema_file) as file:
            schema = Schema(file.read())
    connection = Connection(address)
    connection.send(HELLO, (1).to_bytes(4, "little"), string("read-path.py"))
    if connection.receive()[0] != WELCOME:
        sys.exit("the server did not welcome us")
    entity = read(connection, mount(connection, path, kind, schema.hash if schema else 0))
    if kind == "Forma::Dir":
        lines = [f"{key.decode()}: {of.decode()}" for (_, key), of in entity.content.items()]
    else:
        lines = entity.shown(schema, kind) if schema else entity.opaque()
    print("\n".join(sorted(lines)))


main(*sys.argv[1:])
