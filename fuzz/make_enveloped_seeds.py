#!/usr/bin/env python3
"""Builds the seed corpora of the enveloped-message fuzz targets from the
enveloped test vectors and a few messages made by `openssl cms -encrypt`
(passed as arguments): whole messages, and the recipients, originator
information and encrypted content infos cut out of them.
    fuzz/make_enveloped_seeds.py extra1.der extra2.der ..."""
import os
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
VECTORS = os.path.join(ROOT, "tests", "data", "enveloped")
CORPUS = os.path.join(ROOT, "fuzz", "corpus")


def tlv(data, pos):
    """(tag, header length, contents length or None for indefinite)"""
    tag = data[pos]
    first = data[pos + 1]
    if first < 0x80:
        return tag, 2, first
    if first == 0x80:
        return tag, 2, None
    n = first & 0x7F
    return tag, 2 + n, int.from_bytes(data[pos + 2:pos + 2 + n], "big")


def children(data, pos):
    tag, hl, length = tlv(data, pos)
    at = pos + hl
    out = []
    while length is None or at < pos + hl + length:
        if length is None and data[at:at + 2] == b"\0\0":
            at += 2
            break
        start = at
        at = skip(data, at)
        out.append(data[start:at])
    return out, at


def skip(data, pos):
    tag, hl, length = tlv(data, pos)
    if length is not None:
        return pos + hl + length
    return children(data, pos)[1]


def save(target, name, data):
    folder = os.path.join(CORPUS, target)
    os.makedirs(folder, exist_ok=True)
    with open(os.path.join(folder, name), "wb") as out:
        out.write(data)


def der(tag, contents):
    n = len(contents)
    if n < 0x80:
        return bytes([tag, n]) + contents
    size = n.to_bytes((n.bit_length() + 7) // 8, "big")
    return bytes([tag, 0x80 | len(size)]) + size + contents


def crafted():
    oid = bytes.fromhex("06092A864886F70D010703")
    cert = der(0x30, bytes.fromhex("020101"))
    originator = der(0xA0, der(0x30, der(0xA0, der(0x31, cert)) + der(0xA1, der(0x31, cert))))
    issuer = bytes.fromhex("3012311030 0E0603550403130743 61726C525341".replace(" ", ""))
    recipient = der(0x30, bytes.fromhex("020100") + der(0x30, issuer + bytes.fromhex("020105")) +
                    bytes.fromhex("300D06092A864886F70D0101010500") + bytes.fromhex("04040B710DE6"))
    ski = der(0x30, bytes.fromhex("020102") + der(0xA0, der(0x04, b"\x01\x02\x03")) +
              bytes.fromhex("300D06092A864886F70D0101010500") + bytes.fromhex("0401AA"))
    eci = der(0x30, bytes.fromhex("06092A864886F70D010701") +
              bytes.fromhex("301406082A864886F70D030704080102030405060708") + der(0x80, b"\xDE\xAD\xBE\xEF"))
    attrs = der(0xA1, der(0x31, bytes.fromhex("300706022A03310105")))
    body = der(0x30, bytes.fromhex("020102") + originator + der(0x31, recipient + ski) + eci + attrs)
    full = der(0x30, oid + der(0xA0, body))
    indefinite = (b"\x30\x80" + oid + b"\xA0\x80\x30\x80\x02\x01\x00\x31\x80" + recipient + b"\0\0" +
                  b"\x30\x80" + eci[2:-6] + b"\xA0\x80\x04\x02\xAA\xBB\0\0\0\0" + b"\0\0\0\0\0\0")
    return {"crafted_full.der": full, "crafted_indefinite.der": indefinite}


def main():
    messages = {}
    for name in sorted(os.listdir(VECTORS)):
        with open(os.path.join(VECTORS, name), "rb") as f:
            messages[name] = f.read()
    for path in sys.argv[1:]:
        with open(path, "rb") as f:
            messages["openssl_" + os.path.basename(path)] = f.read()
    messages.update(crafted())
    for name, data in messages.items():
        save("enveloped_data", name, data)
        save("enveloped_data_file", name, data)
        outer, _ = children(data, 0)
        wrapper, _ = children(outer[1], 0)
        fields, _ = children(wrapper[0], 0)
        for i, field in enumerate(fields):
            if field[0] == 0xA0:
                save("originator_info", name + ".orig", field[tlv(field, 0)[1]:])
            elif field[0] == 0x31:
                for j, recipient in enumerate(children(field, 0)[0]):
                    save("trans_recipient_info", "%s.%d" % (name, j), recipient)
            elif field[0] == 0x30:
                save("encrypted_content_info", name + ".eci", field)


if __name__ == "__main__":
    main()
