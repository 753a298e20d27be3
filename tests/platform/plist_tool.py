#!/usr/bin/env python3
"""Another writer and reader of property lists, for the store's tests.

  plist_tool.py fixture binary|xml PATH   write the shared fixture
  plist_tool.py describe PATH             print one line per key of a file
  plist_tool.py writer PATH PREFIX COUNT  set PREFIX0..PREFIX<COUNT-1> one at a
                                          time, under the sidecar lock, the way
                                          the main app writes the store
"""
import datetime
import fcntl
import math
import os
import plistlib
import sys

EPOCH = datetime.datetime(2001, 1, 1)


def fixture():
    # Insertion order is the order the reader must keep.
    return {
        "integer": 42,
        "negative": -7,
        "int64Max": 2**63 - 1,
        "int64Min": -(2**63),
        "aboveInt64": 2**63,
        "uint64Max": 2**64 - 1,
        "tenth": 0.1,
        "third": 1 / 3,
        "huge": 1e300,
        "tiny": 5e-324,
        "negativeZero": -0.0,
        "notANumber": float("nan"),
        "infinity": float("inf"),
        "minusInfinity": float("-inf"),
        "wholeReal": 28800.0,
        "yes": True,
        "no": False,
        "text": "ünï 🛌 <&> \"q\"",
        "empty": "",
        "now": datetime.datetime(2025, 1, 6, 14, 0, 0, 123456),
        "farFuture": datetime.datetime(2100, 1, 1, 0, 0, 0, 250000),
        "farPast": datetime.datetime(1900, 1, 1),
        "justBefore2001": datetime.datetime(2000, 12, 31, 23, 58, 20, 500000),
        "data": b"\x00\x01\xff",
        "nested": {"list": [1, {"inner": []}], "emptyDict": {}},
        "zKeyOrder": 1,
        "aKeyOrder": 2,
    }


def describe(value):
    if isinstance(value, bool):
        return "bool " + ("true" if value else "false")
    if isinstance(value, int):
        return "int %d" % value
    if isinstance(value, float):
        if math.isnan(value):
            return "real nan"
        return "real " + value.hex()
    if isinstance(value, str):
        return "text " + value.encode("unicode_escape").decode("ascii")
    if isinstance(value, datetime.datetime):
        return "date " + (value - EPOCH).total_seconds().hex() + " " + value.isoformat()
    if isinstance(value, bytes):
        return "data " + value.hex()
    if isinstance(value, list):
        return "array [" + ", ".join(describe(v) for v in value) + "]"
    if isinstance(value, dict):
        return "dict {" + ", ".join(k + ": " + describe(v) for k, v in value.items()) + "}"
    return "other " + repr(value)


def load(path):
    with open(path, "rb") as f:
        data = f.read()
    return plistlib.loads(data), (plistlib.FMT_BINARY if data.startswith(b"bplist") else plistlib.FMT_XML)


def writer(path, prefix, count):
    lock_path = path + ".lock"
    temporary = path + ".py-new"
    directory = os.path.dirname(path) or "."
    with open(lock_path, "a") as lock:
        for i in range(count):
            fcntl.flock(lock, fcntl.LOCK_EX)
            try:
                try:
                    contents, fmt = load(path)
                except FileNotFoundError:
                    contents, fmt = {}, plistlib.FMT_BINARY
                contents[prefix + str(i)] = i
                with open(temporary, "wb") as out:
                    out.write(plistlib.dumps(contents, fmt=fmt, sort_keys=False))
                    out.flush()
                    os.fsync(out.fileno())
                os.rename(temporary, path)
                dir_fd = os.open(directory, os.O_RDONLY)
                os.fsync(dir_fd)
                os.close(dir_fd)
            finally:
                fcntl.flock(lock, fcntl.LOCK_UN)


def main(argv):
    if argv[1] == "fixture":
        fmt = plistlib.FMT_BINARY if argv[2] == "binary" else plistlib.FMT_XML
        value = fixture()
        if fmt == plistlib.FMT_XML:
            value["hugeNegative"] = -123456789
            value["hugePositive"] = 123456789
        data = plistlib.dumps(value, fmt=fmt, sort_keys=False)
        # Integers beyond 64 bits: only XML can say them, and only by hand.
        data = data.replace(b">-123456789<", b">-100000000000000000000<")
        data = data.replace(b">123456789<", b">100000000000000000000<")
        with open(argv[3], "wb") as f:
            f.write(data)
    elif argv[1] == "describe":
        contents, _ = load(argv[2])
        for key, value in contents.items():
            print(key + ": " + describe(value))
    elif argv[1] == "writer":
        writer(argv[2], argv[3], int(argv[4]))
    else:
        sys.exit("unknown command " + argv[1])


if __name__ == "__main__":
    main(sys.argv)
