# SPDX-License-Identifier: MIT OR GPL-2.0
"""A capture of random but well-formed frames: every framing, tag stack, header chain and fragment that the engine reads.

Usage: random_capture.py OUT FRAMES SEED
"""
import random
import struct
import sys


def internet_sum(data):
    total = sum(struct.unpack(f">{len(data) // 2}H", data))
    while total >> 16:
        total = (total & 0xFFFF) + (total >> 16)
    return ~total & 0xFFFF


class Generator:
    def __init__(self, seed):
        self.random = random.Random(seed)

    def pick(self, *choices):
        return self.random.choice(choices)

    def bytes(self, count):
        return self.random.randbytes(count)

    def port(self):
        # Port numbers that no protocol has, so a dissector shows the payload as data.
        return self.random.randrange(50000, 64000)

    def transport(self):
        """(protocol number, header and data)"""
        data = bytes(self.random.randrange(0, 60))  # zeros, in which a dissector finds no protocol
        kind = self.pick("tcp", "udp", "udp", "udplite", "sctp", "dccp", "other")
        ports = struct.pack(">HH", self.port(), self.port())
        if kind == "tcp":
            return 6, ports + struct.pack(">IIBBHHH", 1, 0, 0x50, 0x10, 512, 0, 0) + data
        if kind == "udp":
            return 17, ports + struct.pack(">HH", 8 + len(data), 0) + data
        if kind == "udplite":
            return 136, ports + struct.pack(">HH", 8, 0) + data
        if kind == "sctp":  # with a heartbeat chunk
            return 132, ports + struct.pack(">II", 7, 0) + struct.pack(">BBHHH", 4, 0, 8, 1, 4)
        if kind == "dccp":  # a data packet, sequence numbers of 24 bits
            return 33, ports + struct.pack(">BBHBBH", 3, 0, 0, 4, 0, 9) + data
        return self.pick(253, 254), data

    def ipv4(self):
        protocol, payload = self.transport()
        options = self.pick(b"", b"", b"\x01" * 4, b"\x01" * 12 + b"\x00" * 4, b"\x01" * 40)
        fragment = self.pick(0, 0, 0x4000, 0x2000, 0x2000 | self.random.randrange(1, 8000), self.random.randrange(1, 8000))
        length = 20 + len(options) + len(payload)
        header = struct.pack(">BBHHHBBH4s4s", 0x40 | (20 + len(options)) // 4, self.random.randrange(256), length,
                             self.random.randrange(65536), fragment, 64, protocol, 0,
                             bytes([10, *self.bytes(3)]), bytes([192, 0, 2, self.random.randrange(1, 255)])) + options
        header = header[:10] + struct.pack(">H", internet_sum(header)) + header[12:]
        return 0x0800, header + payload + bytes(self.pick(0, 0, 6))

    def ipv6(self):
        upper, payload = self.transport()
        chain = []
        if self.pick(True, False):
            kinds = [kind for kind in (0, 43, 60) if self.pick(True, False)]
            chain = [(kind, self.pick(0, 1, 3)) for kind in kinds]
            if self.pick(True, False, False):
                chain.append((44, 0))
            if self.pick(True, False, False):
                chain.append((51, 4))
        numbers = [kind for kind, _ in chain] + [upper]
        body = b""
        for (kind, size), after in zip(chain, numbers[1:]):
            if kind == 44:
                offset = self.pick(0, 0, self.random.randrange(1, 8000))
                body += struct.pack(">BBHI", after, 0, offset << 3 | self.pick(0, 1), self.random.randrange(1 << 32))
            elif kind == 51:  # length in words of 4 bytes, less 2
                body += struct.pack(">BBHII", after, size, 0, 256, 1) + self.bytes(4 * (size + 2) - 12)
            elif kind == 43:
                body += struct.pack(">BBBBI", after, 2 * size, 253, 0, 0) + bytes(16 * size)
            else:  # padded with one option PadN
                room = 8 * (size + 1) - 2
                body += struct.pack(">BBBB", after, size, 1, room - 2) + bytes(room - 2)
        body += payload
        word = 6 << 28 | self.random.randrange(256) << 20 | self.random.randrange(1 << 20)
        header = struct.pack(">IHBB", word, len(body), numbers[0], 64)
        address = b"\x20\x01\x0d\xb8"
        return 0x86DD, header + address + self.bytes(12) + address + self.bytes(12) + body + bytes(self.pick(0, 0, 6))

    def packet(self):
        """(EtherType, the bytes after it)"""
        kind = self.pick("ipv4", "ipv4", "ipv4", "ipv6", "ipv6", "ipv6", "session", "session", "discovery", "arp")
        if kind == "ipv4":
            return self.ipv4()
        if kind == "ipv6":
            return self.ipv6()
        if kind == "arp":
            return 0x0806, struct.pack(">HHBBH", 1, 0x0800, 6, 4, 1) + self.bytes(20)
        if kind == "discovery":
            return 0x8863, struct.pack(">BBHHHH", 0x11, 9, self.random.randrange(65536), 4, 0x0101, 0)
        ethertype, packet = self.pick(self.ipv4, self.ipv6)()
        ppp = struct.pack(">H", 0x0021 if ethertype == 0x0800 else 0x0057) + packet
        return 0x8864, struct.pack(">BBHH", 0x11, 0, self.random.randrange(1, 65535), len(ppp)) + ppp

    def frame(self):
        destination = self.pick(b"\x02" + self.bytes(5), b"\x01\x00\x5e" + self.bytes(3), b"\xff" * 6)
        frame = destination + b"\x02" + self.bytes(5)
        framing = self.pick("ethernet", "ethernet", "ethernet", "ethernet", "snap", "llc")
        tpids = [self.pick(0x8100, 0x88A8) for _ in range(self.pick(0, 0, 1, 2, 2))]
        if framing != "ethernet":  # after a service tag the dissector expects no length
            tpids[-1:] = [0x8100] * len(tpids[-1:])
        for tpid in tpids:
            frame += struct.pack(">HH", tpid, self.random.randrange(65536))
        if framing == "ethernet":
            ethertype, packet = self.packet()
            return frame + struct.pack(">H", ethertype) + packet
        if framing == "snap":
            ethertype, packet = self.pick(self.ipv4, self.ipv6)()
            packet = b"\xaa\xaa\x03\x00\x00\x00" + struct.pack(">H", ethertype) + packet
        else:  # a bridge's protocol, unnumbered information
            packet = b"\xf0\xf0\x03" + self.bytes(40)
        return frame + struct.pack(">H", len(packet)) + packet


def main():
    name, frames, seed = sys.argv[1], int(sys.argv[2]), int(sys.argv[3])
    generator = Generator(seed)
    with open(name, "wb") as file:
        file.write(struct.pack("<IHHIIII", 0xA1B2C3D4, 2, 4, 0, 0, 65535, 1))
        for number in range(frames):
            frame = generator.frame()
            file.write(struct.pack("<IIII", number, 0, len(frame), len(frame)) + frame)


if __name__ == "__main__":
    main()
