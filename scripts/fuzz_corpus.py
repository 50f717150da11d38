"""Keeps a fuzzer's corpus in one text file: one input a line, in hexadecimal.

fuzz_corpus.py unpack FILE FOLDER    writes each line of FILE to a file in FOLDER
fuzz_corpus.py pack FOLDER FILE      writes all files of FOLDER to FILE
"""
import pathlib
import sys


def main(action, source, target):
    if action == "unpack":
        for number, line in enumerate(pathlib.Path(source).read_text().split()):
            (pathlib.Path(target) / f"{number:05}").write_bytes(bytes.fromhex(line))
    else:
        inputs = sorted(file.read_bytes().hex() for file in pathlib.Path(source).iterdir())
        pathlib.Path(target).write_text("".join(line + "\n" for line in inputs if line))


main(*sys.argv[1:])
