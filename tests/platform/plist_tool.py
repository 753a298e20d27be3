#!/usr/bin/env python3
"""Python's property-list library as a second writer and reader of the store.

  plist_tool.py fixture binary|xml PATH   write the shared fixture
  plist_tool.py describe PATH             print each key's value, exactly
  plist_tool.py writer PATH PREFIX COUNT  set PREFIX0.. one at a time under the
                                          sidecar lock, as the main app writes
"""
import datetime, fcntl, math, os, plistlib, sys

EPOCH = datetime.datetime(2001, 1, 1)


def fixture(fmt):
    value = {  # in the order the reader must keep
        "integer": 42, "negative": -7, "int64Max": 2**63 - 1, "int64Min": -(2**63),
        "aboveInt64": 2**63, "uint64Max": 2**64 - 1,
        "tenth": 0.1, "third": 1 / 3, "huge": 1e300, "tiny": 5e-324, "negativeZero": -0.0,
        "notANumber": float("nan"), "infinity": float("inf"), "minusInfinity": float("-inf"), "wholeReal": 28800.0,
        "yes": True, "no": False, "text": "ünï 🛌 <&> \"q\"", "empty": "",
        "now": datetime.datetime(2025, 1, 6, 14, 0, 0, 123456),
        "farFuture": datetime.datetime(2100, 1, 1, 0, 0, 0, 250000),
        "farPast": datetime.datetime(1900, 1, 1),
        "justBefore2001": datetime.datetime(2000, 12, 31, 23, 58, 20, 500000),
        "data": b"\x00\x01\xff",
        "nested": {"list": [1, {"inner": []}], "emptyDict": {}},
        "zKeyOrder": 1, "aKeyOrder": 2,
    }
    if fmt == plistlib.FMT_XML:
        value.update(hugeNegative=-123456789, hugePositive=123456789)
    data = plistlib.dumps(value, fmt=fmt, sort_keys=False)
    # Integers beyond 64 bits: only XML can say them, and only by hand.
    return data.replace(b">-123456789<", b">-100000000000000000000<").replace(b">123456789<", b">100000000000000000000<")


def describe(value):
    if isinstance(value, bool):
        return "bool " + str(value).lower()
    if isinstance(value, int):
        return "int %d" % value
    if isinstance(value, float):
        return "real nan" if math.isnan(value) else "real " + value.hex()
    if isinstance(value, str):
        return "text " + value.encode("unicode_escape").decode("ascii")
    if isinstance(value, datetime.datetime):
        return "date " + (value - EPOCH).total_seconds().hex() + " " + value.isoformat()
    if isinstance(value, bytes):
        return "data " + value.hex()
    if isinstance(value, list):
        return "array [" + ", ".join(describe(v) for v in value) + "]"
    return "dict {" + ", ".join(k + ": " + describe(v) for k, v in value.items()) + "}"


def writer(path, prefix, count):
    directory = os.path.dirname(path) or "."
    with open(path + ".lock", "a") as lock:
        for i in range(count):
            fcntl.flock(lock, fcntl.LOCK_EX)
            try:
                with open(path, "rb") as f:
                    data = f.read()
                fmt = plistlib.FMT_BINARY if data.startswith(b"bplist") else plistlib.FMT_XML
                contents = plistlib.loads(data)
            except FileNotFoundError:
                contents, fmt = {}, plistlib.FMT_BINARY
            contents[prefix + str(i)] = i
            with open(path + ".py-new", "wb") as out:
                out.write(plistlib.dumps(contents, fmt=fmt, sort_keys=False))
                out.flush()
                os.fsync(out.fileno())
            os.rename(path + ".py-new", path)
            dir_fd = os.open(directory, os.O_RDONLY)
            os.fsync(dir_fd)
            os.close(dir_fd)
            fcntl.flock(lock, fcntl.LOCK_UN)


if __name__ == "__main__":
    command, path = sys.argv[1], sys.argv[-1] if sys.argv[1] != "writer" else sys.argv[2]
    if command == "fixture":
        with open(path, "wb") as f:
            f.write(fixture(plistlib.FMT_BINARY if sys.argv[2] == "binary" else plistlib.FMT_XML))
    elif command == "describe":
        with open(path, "rb") as f:
            for key, value in plistlib.load(f).items():
                print(key + ": " + describe(value))
    else:
        writer(path, sys.argv[3], int(sys.argv[4]))
