#!/usr/bin/env python3
"""The weighted mean of networks of the same shape, weight by weight.

A network trained on few records fits them too well. Half-way back to the network that it started from it keeps most of
what it learnt; so does the mean of several runs with other seeds. See docs/training-network.md."""

import argparse
import array
import os
import sys

HEADER_BYTES = 24
WEIGHT_SCALE = slice(4, 6)  # of the header; below 128 the weights are bytes


class Failure(Exception):
    """A file that can't be used; the text says why."""


def read_network(path):
    """Header and 16-bit weights of a network file."""
    with open(path, "rb") as file:
        content = file.read()
    header, weights = content[:HEADER_BYTES], array.array("h")
    if len(header) < HEADER_BYTES or len(content) % 2:
        raise Failure(f"{path} is not a network file")
    if int.from_bytes(header[WEIGHT_SCALE], "little") < 128:
        raise Failure(f"{path} has weights of one byte; only networks of 16-bit words can be blended")
    weights.frombytes(content[HEADER_BYTES:])
    if sys.byteorder == "big":
        weights.byteswap()
    return header, weights


def blend(trained, old, share):
    """Each weight: `share` of the mean of the trained networks' and the rest of the old one's, rounded; a half goes to
    the even number, so that as many weights grow as shrink."""
    part = share / len(trained)
    return array.array("h", (round(part * sum(words) + (1.0 - share) * rest)
                             for *words, rest in zip(*trained, old)))


def write_network(path, header, weights):
    """Writes the file whole or not at all."""
    if sys.byteorder == "big":
        weights.byteswap()
    with open(path + ".new", "wb") as file:
        file.write(header + weights.tobytes())
    os.replace(path + ".new", path)


def main(arguments=None):
    parser = argparse.ArgumentParser(prog="blend_network.py", description="The weighted mean of networks.")
    parser.add_argument("trained", nargs="+", help="network files that count alike")
    parser.add_argument("old", help="network file of the same shape")
    parser.add_argument("out", help="network file to write")
    parser.add_argument("--share", type=float, default=0.5,
                        help="of the trained networks together, 0 to 1 (default 0.5)")
    options = parser.parse_args(arguments)
    try:
        if not 0.0 <= options.share <= 1.0:
            raise Failure("--share is a number from 0 to 1")
        header, old = read_network(options.old)
        trained = []
        for path in options.trained:
            other_header, words = read_network(path)
            if header != other_header or len(words) != len(old):
                raise Failure(f"{path} and {options.old} are not of the same shape")
            trained.append(words)
        write_network(options.out, header, blend(trained, old, options.share))
    except (Failure, OSError) as error:
        print(f"blend_network.py: {error}", file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
