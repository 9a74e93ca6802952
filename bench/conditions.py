"""What a page of results tells of the machine and the run. run.py calls this."""
import os
import pathlib
import platform
import re
import statistics
import subprocess
import tempfile
import time

from workplace import SEED


def sync_seconds(directory):
    times = []
    with tempfile.TemporaryFile(dir=directory) as file:
        for _ in range(200):
            file.write(bytes(4096))
            file.flush()
            start = time.perf_counter()
            os.fdatasync(file.fileno())
            times.append(time.perf_counter() - start)
    return statistics.median(times)


def conditions(bench):
    def output(*command):
        return subprocess.run(command, capture_output=True, text=True).stdout.strip()

    def version(package):
        return output("dpkg-query", "-W", "-f=${Version}", package)

    def first_match(pattern, file):
        return re.search(pattern, pathlib.Path(file).read_text()).group(1)

    packages = ("libxapian30", "libsqlite3-0", "libstemmer0d", "libhunspell-1.7-0", "lttoolbox",
                "hfst", "libdb5.3", "libbenchmark1debian")
    return {
        "date": time.strftime("%Y-%m-%d"),
        "revision": output("git", "-C", pathlib.Path(__file__).parent, "describe", "--always",
                           "--dirty"),
        "processor": first_match(r"model name\s*: (.*)", "/proc/cpuinfo"),
        "cores": os.cpu_count(),
        "memory_gb": int(first_match(r"MemTotal:\s*(\d+)", "/proc/meminfo")) / 2**20,
        "kernel": platform.release(),
        "file_system": output("findmnt", "-no", "FSTYPE,SOURCE", "--target", bench.work),
        "disk_rotates": output("lsblk", "-dno", "ROTA"),
        "sync_seconds": sync_seconds(bench.work),
        "load": os.getloadavg()[0],
        "versions": {package: version(package) for package in packages},
        "seed": SEED,
        "scale": bench.scale,
        "bulk_known": bench.bulk_known,
    }
