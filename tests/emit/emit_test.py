#!/usr/bin/env python3
"""Emits the classes of stores, and reads the stores through them.

For each store: the C++ header is compiled with warnings as errors, and a program reads every object through it and compares
every value with what an inspection shows. The Python module is imported, and an object of each class made. With KVL_ALL_SEEDS
in the environment these are all golden stores, and those that the examples and benchmarks make, with GCC and with Clang.
"""

import argparse
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

HERE = pathlib.Path(__file__).resolve().parent
LEFT_OUT = re.compile(r"^/// Left out: (.*?), ", re.MULTILINE)
NAMESPACE = re.compile(r"^namespace (\w+) \{", re.MULTILINE)
DECLARED = re.compile(r"^  (\w+)::Declare\(registrar\);", re.MULTILINE)
CLASS = re.compile(r"^/// Class 0x[0-9A-F]+ \"(.*)\", version")

MODULE_CHECK = """
import dataclasses, importlib.util, sys
spec = importlib.util.spec_from_file_location("emitted", sys.argv[1])
emitted = importlib.util.module_from_spec(spec)
sys.modules["emitted"] = emitted
spec.loader.exec_module(emitted)
import typing
for class_id, made in emitted.CLASSES.items():
    assert made.CLASS_ID == class_id
    thing = made()
    typing.get_type_hints(made)
    for each in dataclasses.fields(thing):
        assert "name" in each.metadata, each
        getattr(thing, each.name)
print(len(emitted.CLASSES))
"""


def run(command: list[str]) -> str:
    done = subprocess.run(command, capture_output=True, text=True, errors="replace", timeout=600)
    if done.returncode != 0:
        raise AssertionError(f"{' '.join(command)}: status {done.returncode}\n{done.stdout}{done.stderr}")
    return done.stdout


def left_out(header: str) -> set[str]:
    """The attributes that comments name: "Class.m_Field"."""
    names, current = set(), ""
    for line in header.splitlines():
        if match := CLASS.match(line):
            current = match[1]
        if match := LEFT_OUT.match(line):
            names.add(f"{current}.{match[1]}")
    return names


def check_cpp(program: str, build: list[str], store: pathlib.Path, folder: pathlib.Path) -> str:
    header = run([program, "classes", str(store), "--emit", "c++"])
    (folder / "emitted.h").write_text(header)
    space = NAMESPACE.search(header)[1]
    classes = ", ".join(f"{space}::{name}" for name in DECLARED.findall(header))
    main = folder / "main.cpp"
    main.write_text(f'#include "emitted.h"\n#include "EmitReader.h"\n'
                    f"int main(int argc, char** argv) {{ return EmitMain<{classes}>(argc, argv, &{space}::DeclareClasses); }}\n")
    source = ["-std=c++20", "-O0", "-Wall", "-Wextra", "-Werror", f"-I{folder}", f"-I{HERE}/reader", str(main)]
    run([build[0], *source, "-o", str(folder / "main"), *build[1:]])
    output = run([str(folder / "main"), str(store)])
    unread = {line.removeprefix("UNREAD ") for line in output.splitlines() if line.startswith("UNREAD ")}
    if missed := unread - left_out(header):
        raise AssertionError(f"{store.name}: not read, and no comment says so: {sorted(missed)}")
    return output.splitlines()[-1] + (f", left out: {', '.join(sorted(unread))}" if unread else "")


def check_python(program: str, store: pathlib.Path, folder: pathlib.Path) -> str:
    (folder / "emitted.py").write_text(run([program, "classes", str(store), "--emit", "python"]))
    (folder / "check.py").write_text(MODULE_CHECK)
    return run([sys.executable, "-B", str(folder / "check.py"), str(folder / "emitted.py")]).strip()


def made(makers: dict[str, str], folder: pathlib.Path) -> list[pathlib.Path]:
    """The stores that the examples and benchmarks make."""
    def store(name: str) -> str:
        return str(folder / f"{name}.kvs")

    if "heat" in makers:
        heat, data = makers["heat"], HERE.parent.parent / "examples/heat/data"
        run([heat, "analyse", str(data / "mixed.msh"), "--store", store("heat-steady")])
        run([heat, "transient", str(data / "bracket.msh"), "--store", store("heat-transient"),
             "--steps", "20", "--dt", "0.25", "--checkpoint", "10"])
        run([makers["failures"], "run", store("failures")])
        for version in "123":
            run([makers[f"truss_v{version}"], "make", store(f"truss-{version}"), "4"])
        run([makers["truss_v1"], "make", store("truss-1-then-3"), "4"])
        for name in ("truss-3", "truss-1-then-3"):
            run([makers["truss_v3"], "rename", store(name), "L1", "first"])
            run([makers["truss_v3"], "solve", store(name)])
        run([makers["truss_v3"], "run", store("truss-3"), "train", "0.1"])
        for version in "123456":
            run([makers[f"evolution_v{version}"], "write", store(f"evolution-{version}")])
        run([makers["evolution_v1"], "write", store("evolution-all")])
        for version in "23456":
            run([makers[f"evolution_v{version}"], "upgrade", store("evolution-all")])
    if "oo7" in makers:
        run([makers["oo7"], store("oo7-held"), store("oo7-referred")])
    return sorted(folder.glob("*.kvs"))


def lines(path: str) -> list[str]:
    return [line for line in pathlib.Path(path).read_text().split("\n") if line]


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    for option in ("--program", "--build", "--makers", "--golden"):
        parser.add_argument(option, required=True)
    arguments = parser.parse_args()
    makers = dict(line.split("=", 1) for line in lines(arguments.makers))
    golden = pathlib.Path(arguments.golden)
    builds = [lines(arguments.build)]
    failures = 0
    with tempfile.TemporaryDirectory() as name:
        hostile = pathlib.Path(name) / "hostile \"store\" -.kvs"
        run([makers["hostile"], str(hostile)])
        stores = [hostile, golden / "tests/golden/heat-1-transient.kvs", golden / "tests/golden/format-4.kvs"]
        if "KVL_ALL_SEEDS" in os.environ:
            stores = [hostile, *sorted((golden / "tests/golden").glob("*.kvs")),
                      *sorted((golden / "examples/evolution/golden").glob("*.kvs"))]
            (pathlib.Path(name) / "made").mkdir()
            stores += made(makers, pathlib.Path(name) / "made")
            if other := shutil.which("clang++-14"):
                builds.append([other, *builds[0][1:]])
        for build in builds:
            for store in stores:
                with tempfile.TemporaryDirectory() as work:
                    try:
                        print(f"{store.name}: {check_cpp(arguments.program, build, store, pathlib.Path(work))}; "
                              f"{check_python(arguments.program, store, pathlib.Path(work))} classes in Python", flush=True)
                    except AssertionError as error:
                        print(f"{store.name}: {str(error)[:6000]}", flush=True)
                        failures += 1
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
