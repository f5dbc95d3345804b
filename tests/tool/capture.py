#!/usr/bin/env python3
"""Writes a capture file of what a simulated server sends: its answers and its first complete frames, then
frames damaged on purpose. Needs no privileges: plain sockets receive the datagrams, and the file's IP and UDP
headers are made up here. Usage: capture.py FILE FRAMES"""
import socket
import struct
import sys

GROUP, COMMAND, DATA, LOCAL = "239.239.239.52", 5230, 5231, "127.0.0.1"
HEADER = struct.Struct("<HHIBBHI")
DESCRIPTIONS, SERVER, FRAME, COMMAND_TEXT = 101, 102, 103, 104


def message(receiver):
    """The datagrams of the next message that is complete from its first fragment."""
    datagrams, size = [], 0
    while True:
        datagram = receiver.recv(65535)
        _, _, total, _, index, length, _ = HEADER.unpack_from(datagram)
        if index == 0:
            datagrams, size = [], 0
        if index == len(datagrams):
            datagrams.append(datagram)
            size += length
            if size == total:
                return datagrams


def one_datagram(kind, body):
    return HEADER.pack(0xF951, 0, len(body), kind, 0, len(body), 0) + body


def packet(source, target, datagram):
    (from_address, from_port), (to_address, to_port) = source, target
    udp = struct.pack(">HHHH", from_port, to_port, 8 + len(datagram), 0) + datagram
    addresses = socket.inet_aton(from_address) + socket.inet_aton(to_address)
    return struct.pack(">BBHHHBBH", 0x45, 0, 20 + len(udp), 0, 0, 64, 17, 0) + addresses + udp


def main(path, frames):
    command = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    command.connect((LOCAL, COMMAND))
    stream = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    stream.bind(("", DATA))
    member = socket.inet_aton(GROUP) + socket.inet_aton(LOCAL)
    stream.setsockopt(socket.IPPROTO_IP, socket.IP_ADD_MEMBERSHIP, member)
    for receiver in (command, stream):
        receiver.settimeout(10)

    server, client, group = (LOCAL, COMMAND), command.getsockname(), (GROUP, DATA)
    packets = []
    for kind, sequence, text in ((DESCRIPTIONS, 2, b""), (SERVER, 4, b""), (COMMAND_TEXT, 6, b"rate 120\0")):
        request = HEADER.pack(0xF951, 0, len(text), kind, 0, len(text), sequence) + text
        command.send(request)
        packets.append(packet(client, server, request))
        packets += [packet(server, client, datagram) for datagram in message(command)]
    for _ in range(frames):
        packets += [packet(server, group, datagram) for datagram in message(stream)]
    first, second, third = message(stream)
    damaged = [first, third, second, third]  # what comes too early loses the message for good
    body = bytes(50)  # an empty frame; then a byte too few, a marker set too many, a magic in the other byte order
    damaged += [one_datagram(FRAME, body), one_datagram(FRAME, body[:-1])]
    damaged += [one_datagram(FRAME, body[:4] + struct.pack("<i", 201) + body[8:]), b"\xf9\x51" + bytes(14)]
    packets += [packet(server, group, datagram) for datagram in damaged]

    with open(path, "wb") as file:
        file.write(struct.pack("<IHHiIII", 0xA1B2C3D4, 2, 4, 0, 0, 65535, 101))  # 101: packets begin with IP
        for number, content in enumerate(packets):
            file.write(struct.pack("<IIII", number, 0, len(content), len(content)) + content)


main(sys.argv[1], int(sys.argv[2]))
