# SPDX-License-Identifier: MIT OR GPL-2.0
"""Reads the captures that the tool wrote, without its code."""
import struct


def records(name):
    """The frames of a little-endian capture file."""
    with open(name, "rb") as file:
        data = file.read()
    frames, at = [], 24
    while at < len(data):
        length = struct.unpack_from("<I", data, at + 8)[0]
        frames.append(data[at + 16:at + 16 + length])
        at += 16 + length
    return frames
