#!/usr/bin/env python3
"""Puts the faults of faults.txt into a copy of the checkout, one at a time, and says which ones its tests notice.

Usage: run.py [--checkout FOLDER] [--scratch FOLDER] [--only N,N...] - by hand; takes half an hour of a processor. The
copy is made of the files that git knows, as they are now. A fault is noticed if a test fails, hangs or crashes, or if
the digests change. The tests run twice where they find nothing, since some faults need an unlucky moment.
"""
import argparse
import pathlib
import re
import shutil
import subprocess
import sys

TIME_LIMIT = 60  # seconds, for each program; they take a few
TARGETS = ["lumetra_tests", "lumetra_allocation_tests", "lumetra_digests"]
# What is compiled for one fault is little; the tests run so much longer without any optimisation.
OPTIONS = ["-G", "Ninja", "-DCMAKE_BUILD_TYPE=", "-DCMAKE_CXX_FLAGS=-O1", "-DLUMETRA_WERROR=OFF",
           "-DLUMETRA_BUILD_TOOLS=OFF", "-DLUMETRA_BUILD_STRESS=OFF", "-DLUMETRA_INSTALL=OFF"]


def read_faults(path):
    """[(file, text, replacement)]"""
    faults = []
    for block in re.sub(r"(?m)^#.*\n", "", path.read_text()).strip().split("\n\n"):
        file, *lines = block.splitlines()
        texts = {sign: "\n".join(line[1:].strip() for line in lines if line[0] == sign) for sign in "-+"}
        faults.append((file, texts["-"], texts["+"]))
    return faults


def pattern(text):
    return re.compile(r"\s+".join(re.escape(word) for word in text.split()))


class Copy:
    """A copy of the checkout and its build."""

    def __init__(self, checkout, scratch):
        self.source, self.build = scratch / "source", scratch / "build"
        self.digests = scratch / "digests.txt"
        files = subprocess.run(["git", "-C", checkout, "ls-files", "-z"], check=True, stdout=subprocess.PIPE).stdout
        for name in files.decode().strip("\0").split("\0"):
            target = self.source / name
            if target.exists() and target.read_bytes() == (checkout / name).read_bytes():
                continue  # and is not built again
            target.parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(checkout / name, target)

    def compile(self, *targets):
        configured = (self.build / "build.ninja").exists()
        configure = ["cmake", "-S", self.source, "-B", self.build, *OPTIONS]
        build = ["cmake", "--build", self.build, "-j1", "--target", *targets]
        return (configured or self.run(configure)) and self.run(build, limit=None)

    def passes(self, name):
        tests = self.build / "tests"
        return self.run([tests / name, "--gtest_fail_fast", "--gtest_brief=1"], cwd=tests / "loadable")

    def digests_are_the_same(self):
        now = self.digests.with_suffix(".now")
        if not self.run([self.build / "tests" / TARGETS[2], now]):
            return False
        if not self.digests.exists():
            shutil.copyfile(now, self.digests)
        return now.read_text() == self.digests.read_text()

    def notices_nothing(self):
        first, second, _ = TARGETS
        return (self.passes(first) and self.compile(*TARGETS) and self.passes(second) and self.passes(first)
                and self.digests_are_the_same())

    @staticmethod
    def run(command, cwd=None, limit=TIME_LIMIT):
        try:
            return subprocess.run(command, cwd=cwd, timeout=limit, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                                  stderr=subprocess.DEVNULL).returncode == 0
        except subprocess.TimeoutExpired:
            return False

    def result_of(self, file, text, replacement):
        path = self.source / file
        original = path.read_text() if path.exists() else ""
        places = pattern(text).findall(original)
        if len(places) != 1:
            return f"found {len(places)} times"
        path.write_text(original.replace(places[0], replacement))
        try:
            if not self.compile(TARGETS[0]):
                return "did not compile"
            return "not noticed" if self.notices_nothing() else "noticed"
        finally:
            path.write_text(original)


def main():
    here = pathlib.Path(__file__).resolve().parent
    options = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    options.add_argument("--checkout", type=pathlib.Path, default=here.parent.parent)
    options.add_argument("--scratch", type=pathlib.Path, help="default: build/faults of the checkout")
    options.add_argument("--only", default="", help="numbers of faults, by commas")
    arguments = options.parse_args()
    scratch = (arguments.scratch or arguments.checkout / "build" / "faults").resolve()
    copy = Copy(arguments.checkout.resolve(), scratch)
    copy.digests.unlink(missing_ok=True)
    if not copy.compile(*TARGETS) or not copy.notices_nothing():
        sys.exit("the tests do not pass without a fault")

    only = {int(number) for number in arguments.only.split(",") if number}
    results = {}
    for number, (file, text, replacement) in enumerate(read_faults(here / "faults.txt"), 1):
        if only and number not in only:
            continue
        result = copy.result_of(file, text, replacement)
        results.setdefault(result, []).append(number)
        print(f"{number:3} {result:15} {file}: {text.splitlines()[0]}", flush=True)
    print(", ".join(f"{len(numbers)} {result}" for result, numbers in results.items()))


if __name__ == "__main__":
    main()
