#!/usr/bin/env python3
"""Python's property-list library as a second writer and reader of the store.

  plist_tool.py fixture binary|xml PATH   write the shared fixture
  plist_tool.py describe PATH             print each key's value, exactly
  plist_tool.py writer PATH PREFIX COUNT  set PREFIX0.. one at a time under the
                                          sidecar lock, as the main app writes
  plist_tool.py random DIR COUNT SEED     write COUNT random stores of every kind
                                          Python writes into DIR/stores (each as its
                                          length in 8 decimal digits, then its bytes)
                                          and DIR/cases, a line a store: NAME set
                                          KEY KIND | NAME remove KEY (keys in hex)
  plist_tool.py verify DIR                check each store of DIR/written against
                                          DIR/stores: every other value unchanged,
                                          the change made, the format kept
"""
import datetime, fcntl, math, os, plistlib, random, struct, sys

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


# ---- random stores -------------------------------------------------------------------

# Characters XML 1.0 can carry, and a few only a binary list can.
XML_CHARS = "aZ09 <>&\"'\t\n\r]]>\u00fc\u00e9\u4e2d\u0915\ufffd\U0001f6cc\U00010000\U0010fffd"
BINARY_ONLY = "\x00\x01\x1f\ufffe\uffff"
KINDS = ["int", "text", "real", "date", "dict"]


def random_text(rng, binary):
    chars = XML_CHARS + (BINARY_ONLY if binary else "")
    return "".join(rng.choice(chars) for _ in range(rng.randrange(0, 12)))


def random_real(rng):
    pick = rng.randrange(6)
    if pick == 0:
        return rng.choice([0.0, -0.0, math.inf, -math.inf, math.nan, 5e-324, 1.7976931348623157e308])
    if pick == 1:
        return struct.unpack(">d", rng.getrandbits(64).to_bytes(8, "big"))[0]
    return rng.uniform(-1e6, 1e6)


def random_date(rng, binary):
    seconds = rng.randrange(0, 315537897600)  # 0001-01-01 to 9999-12-31
    date = datetime.datetime(1, 1, 1) + datetime.timedelta(seconds=seconds)
    return date.replace(microsecond=rng.randrange(1000000)) if binary and rng.random() < 0.5 else date


def random_value(rng, binary, depth):
    pick = rng.randrange(12 if depth < 3 else 9)
    if pick == 0:
        bits = rng.choice([8, 16, 32, 63, 64])  # Python writes -2^63 to 2^64-1
        return rng.randrange(max(-(2 ** 63), -(2 ** bits)), 2 ** bits)
    if pick == 1:
        return random_real(rng)
    if pick == 2:
        return rng.random() < 0.5
    if pick in (3, 4):
        return random_text(rng, binary)
    if pick == 5:
        return rng.randbytes(rng.randrange(0, 40))
    if pick == 6:
        return random_date(rng, binary)
    if pick == 7:
        return plistlib.UID(rng.randrange(2 ** 32)) if binary else random_text(rng, binary)
    if pick == 8:
        return rng.choice([[], {}, "", b""])
    if pick == 9:
        return [random_value(rng, binary, depth + 1) for _ in range(rng.randrange(0, 6))]
    return {random_text(rng, binary) or "k": random_value(rng, binary, depth + 1) for _ in range(rng.randrange(0, 6))}


def random_stores(directory, count, seed):
    rng = random.Random(seed)
    with open(os.path.join(directory, "cases"), "w") as cases, open(os.path.join(directory, "stores"), "wb") as f:
        for i in range(count):
            binary = i % 2 == 0
            store = {}
            for _ in range(rng.randrange(0, 16)):
                store[random_text(rng, binary) or "key"] = random_value(rng, binary, 0)
            name = "store%d.plist" % i
            data = plistlib.dumps(store, fmt=plistlib.FMT_BINARY if binary else plistlib.FMT_XML, sort_keys=False)
            f.write(b"%08d" % len(data) + data)
            keys = list(plistlib.loads(data))  # as written: XML turns carriage returns into line feeds
            if keys and rng.random() < 0.2:
                cases.write("%s remove %s\n" % (name, rng.choice(keys).encode("utf-8", "surrogatepass").hex()))
            else:
                key = rng.choice(keys) if keys and rng.random() < 0.4 else "velmora" + str(i)
                cases.write("%s set %s %s\n" % (name, key.encode("utf-8", "surrogatepass").hex(), KINDS[i % len(KINDS)]))


def same(a, b):
    """Equal values, reals and dates to the bit, kinds and key order included."""
    if type(a) is not type(b):
        return False
    if isinstance(a, float):
        return struct.pack(">d", a) == struct.pack(">d", b)
    if isinstance(a, dict):
        return list(a) == list(b) and all(same(a[k], b[k]) for k in a)
    if isinstance(a, list):
        return len(a) == len(b) and all(same(x, y) for x, y in zip(a, b))
    return a == b


def written_value(kind, index, binary):
    """What velmora writes for a case (the same rule as the test's)."""
    if kind == "int":
        return index * 7 - 3
    if kind == "text":
        return "velmora \u2713 %d" % index
    if kind == "real":
        return index / 7
    if kind == "date":
        seconds = 757864800 + index * 1000.5
        return datetime.datetime(2001, 1, 1) + datetime.timedelta(seconds=seconds if binary else math.floor(seconds))
    return {"n": index, "list": [index, "x"]}


def read_stores(path):
    with open(path, "rb") as f:
        data = f.read()
    stores, at = [], 0
    while at < len(data):
        length = int(data[at:at + 8])
        stores.append(data[at + 8:at + 8 + length])
        at += 8 + length
    return stores


def verify(directory):
    failures = 0
    originals = read_stores(os.path.join(directory, "stores"))
    writes = read_stores(os.path.join(directory, "written"))
    with open(os.path.join(directory, "cases")) as cases:
        for index, line in enumerate(cases):
            name, action, key, *kind = line.split()
            key = bytes.fromhex(key).decode("utf-8", "surrogatepass")
            original, written = originals[index], writes[index]
            before = plistlib.loads(original)
            try:
                after = plistlib.loads(written)
            except Exception as error:  # noqa: BLE001 - any failure to read is the finding
                print("%s: plistlib cannot read the written file: %r" % (name, error))
                failures += 1
                continue
            expected = dict(before)
            binary = original.startswith(b"bplist")
            if action == "remove":
                del expected[key]
            else:
                expected[key] = written_value(kind[0], index, binary)
            if written.startswith(b"bplist") != binary:
                print("%s: the format changed" % name)
                failures += 1
            elif not same(after, expected):
                print("%s (%s %r): %r\n  became %r" % (name, action, key, expected, after))
                failures += 1
    print("%d failed" % failures)


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
    command, path = sys.argv[1], sys.argv[-1] if sys.argv[1] not in ("writer", "random") else sys.argv[2]
    if command == "fixture":
        with open(path, "wb") as f:
            f.write(fixture(plistlib.FMT_BINARY if sys.argv[2] == "binary" else plistlib.FMT_XML))
    elif command == "random":
        random_stores(sys.argv[2], int(sys.argv[3]), int(sys.argv[4]))
    elif command == "verify":
        verify(sys.argv[2])
    elif command == "describe":
        with open(path, "rb") as f:
            for key, value in plistlib.load(f).items():
                print(key + ": " + describe(value))
    else:
        writer(path, sys.argv[3], int(sys.argv[4]))
