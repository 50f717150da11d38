"""Shows that no verb of kvlstore needs memory for a whole array: each gets less than the array takes.

    KVLSTORE=... KVLSTORE_STORES=... memory_test.py               the test
    KVLSTORE=... KVLSTORE_STORES=... memory_test.py figures       prints how many MiB each verb needs

What SQLite maps of the file is not counted: the system can take that memory back at any time.
"""

import os
import resource
import subprocess
import sys
import tempfile

PROGRAM = os.environ["KVLSTORE"]
STORES = os.environ["KVLSTORE_STORES"]
MIB = 1 << 20
SMALL = 400_000
LARGE = 4_000_000
MOST_MIB = 12  # the large array has 30.5
ARRAY = "run.m_Array"

CALLS = {
    "info": lambda store, target: ["info", store],
    "ls": lambda store, target: ["ls", "-r", "-l", store],
    "show": lambda store, target: ["show", store, "run"],
    "dump json": lambda store, target: ["dump", store, ARRAY],
    "dump csv": lambda store, target: ["dump", store, ARRAY, "--csv"],
    "dump npy": lambda store, target: ["dump", store, ARRAY, "--npy"],
    "plot": lambda store, target: ["plot", store, ARRAY],
    "diff": lambda store, target: ["diff", store, store],
    "check": lambda store, target: ["check", store, "--full"],
    "stat": lambda store, target: ["stat", store],
    "copy": lambda store, target: ["copy", store, target],
    "recover": lambda store, target: ["recover", store, target],
    "report": lambda store, target: ["report", store],
}


def works(arguments, target, mib):
    """Whether a verb comes to its end with so much memory."""
    if os.path.exists(target):
        os.remove(target)
    done = subprocess.run([PROGRAM, *arguments], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                          preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_DATA, (mib * MIB, mib * MIB)),
                          check=False)
    return done.returncode == 0


def main():
    with tempfile.TemporaryDirectory(prefix="kvlstore-memory-") as folder:
        stores = []
        for count in (SMALL, LARGE):
            stores.append(os.path.join(folder, f"{count}.kvs"))
            subprocess.run([STORES, "array", stores[-1], str(count)], check=True)
        target = os.path.join(folder, "target.kvs")
        if sys.argv[1:] == ["figures"]:
            for verb, call in CALLS.items():
                least = [next(mib for mib in range(1, 500) if works(call(store, target), target, mib))
                         for store in stores]
                print(f"{verb:10} {least[0]:>4} MiB {least[1]:>4} MiB")
            return 0
        failed = [verb for verb, call in CALLS.items() if not works(call(stores[1], target), target, MOST_MIB)]
        for verb in failed:
            print(f"{verb}: {MOST_MIB} MiB are not enough", file=sys.stderr)
        return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
