#!/usr/bin/env python3
"""Tests of blocks.py, on small trees."""

import pathlib
import tempfile
import unittest

import blocks

BLOCK = "```cpp\nint i;\n```\n"
TAKES = "#include <blocks/README/top-1>\n"


class TreeTest(unittest.TestCase):
    """Makes trees from texts in a separate folder."""

    def setUp(self) -> None:
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name)

    def write(self, files: dict[str, str]) -> None:
        for path, text in files.items():
            file = self.root / path
            file.parent.mkdir(parents=True, exist_ok=True)
            file.write_text(text, encoding="utf-8")

    def findings(self, files: dict[str, str]) -> list[str]:
        self.write(files)
        return [str(finding) for finding in blocks.check(self.root)]

    def assert_finding(self, files: dict[str, str], expected: str) -> None:
        self.assertEqual(self.findings(files), [expected])


class Check(TreeTest):
    def test_a_block_that_a_program_takes_is_fine(self) -> None:
        self.assertEqual(self.findings({"README.md": BLOCK, "tests/documents/A.cpp": TAKES}), [])

    def test_a_block_without_program_is_found_by_its_name(self) -> None:
        self.assert_finding({"README.md": BLOCK},
                            "README.md:2: no program compiles the block README/top-1: "
                            "add one in tests/documents")

    def test_a_second_block_under_a_heading_needs_a_program_too(self) -> None:
        self.assert_finding({"README.md": BLOCK + BLOCK, "tests/documents/A.cpp": TAKES},
                            "README.md:5: no program compiles the block README/top-2: "
                            "add one in tests/documents")

    def test_documents_in_folders_are_looked_at(self) -> None:
        self.assert_finding({"docs/some/page.md": "# The way\n" + BLOCK},
                            "docs/some/page.md:3: no program compiles the block docs/some/page/the-way-1: "
                            "add one in tests/documents")

    def test_build_and_hidden_folders_are_left_out(self) -> None:
        self.assertEqual(self.findings({"build/dev/page.md": BLOCK, ".cache/page.md": BLOCK}), [])

    def test_a_program_that_asks_for_no_block_is_found(self) -> None:
        self.assert_finding({"tests/documents/A.cpp": "\n" + TAKES},
                            "tests/documents/A.cpp:2: the documents have no block README/top-1")

    def test_other_languages_are_left_alone(self) -> None:
        text = "```sql\nDROP TABLE root;\n```\n\n    rm bolts.kvs   # gone;\n"
        self.assertEqual(self.findings({"README.md": text}), [])

    def test_cpp_under_another_name_is_found(self) -> None:
        self.assert_finding({"README.md": "```c++\nint i;\n```\n"},
                            "README.md:1: mark C++ as cpp, not as c++")

    def test_cpp_without_mark_is_found(self) -> None:
        self.assert_finding({"README.md": "```\nint i;\n```\n"},
                            "README.md:1: this looks like C++ but is not marked: write ```cpp")
        self.assert_finding({"README.md": "    int i;\n"},
                            "README.md:1: this looks like C++: put it between ```cpp and ```")

    def test_a_block_without_end_is_found(self) -> None:
        self.assert_finding({"README.md": "```cpp\nint i;\n", "tests/documents/A.cpp": TAKES},
                            "README.md:1: the block is not closed")

    def test_an_indented_block_is_found(self) -> None:
        self.assert_finding({"README.md": "  ```cpp\n  int i;\n  ```\n", "tests/documents/A.cpp": TAKES},
                            "README.md:1: a C++ block begins with ```cpp at the start of the line")


class Quotes(TreeTest):
    def quote(self, source: str) -> dict[str, str]:
        return {"README.md": "```cpp\nint i;\n  int j;\n```\n", "examples/a.cpp": source,
                "tests/documents/quotes.txt": "# why\nREADME/top-1 examples/a.cpp\n"}

    def test_a_quote_may_be_indented_differently(self) -> None:
        self.assertEqual(self.findings(self.quote("void F() {\n  int i; int j;\n}\n")), [])

    def test_a_quote_that_its_source_lacks_is_found(self) -> None:
        self.assert_finding(self.quote("int i; long j;"),
                            "README.md:2: examples/a.cpp does not contain this block")

    def test_a_quote_without_source_or_block_is_found(self) -> None:
        files = self.quote("")
        del files["examples/a.cpp"]
        self.assert_finding(files, "tests/documents/quotes.txt:2: there is no source file examples/a.cpp")
        self.assert_finding({"README.md": "", "examples/a.cpp": ""},
                            "tests/documents/quotes.txt:2: the documents have no block README/top-1")


class Tables(TreeTest):
    TABLE = "## Kinds\n\n| member | read |\n|---|---|\n| `int` | `Read(field, 0)` |\n| `A<B, C>` | `x` |\n"

    def test_a_table_of_code_needs_a_program(self) -> None:
        self.assert_finding({"README.md": self.TABLE},
                            "README.md:3: no program compiles the block README/kinds-table-1: "
                            "add one in tests/documents")

    def test_each_row_is_handed_over(self) -> None:
        self.write({"README.md": self.TABLE})
        blocks.extract(self.root, self.root / "out")
        text = (self.root / "out/blocks/README/kinds-table-1").read_text(encoding="utf-8")
        self.assertEqual(text.splitlines()[1:],
                         ["DOCUMENT_ROW(5, (int), (Read(field, 0)))", "DOCUMENT_ROW(6, (A<B, C>), (x))"])

    def test_a_row_that_is_not_code_is_found(self) -> None:
        self.write({"tests/documents/A.cpp": "#include <blocks/README/kinds-table-1>\n"})
        self.assert_finding({"README.md": self.TABLE + "| `bool` | see below |\n"},
                            "README.md:7: a cell of this table is not code, unlike its first row")

    def test_other_tables_are_left_alone(self) -> None:
        self.assertEqual(self.findings({"README.md": "| a | b |\n|---|---|\n| `int` | number |\n"}), [])


class Extract(TreeTest):
    def extract(self) -> dict[str, str]:
        blocks.extract(self.root, self.root / "out")
        folder = self.root / "out/blocks"
        return {path.relative_to(folder).as_posix(): path.read_text(encoding="utf-8")
                for path in folder.rglob("*") if path.is_file()}

    def test_a_block_comes_to_the_byte_and_with_its_place(self) -> None:
        self.write({"README.md": "# Use\n\n```cpp\n  f( x );   // why\n\n#include <a>\n```\n"})
        self.assertEqual(self.extract(), {
            "README/use-1": f'#line 4 "{self.root}/README.md"\n  f( x );   // why\n\n#include <a>\n'})

    def test_a_removed_block_is_deleted(self) -> None:
        self.write({"README.md": BLOCK + BLOCK})
        self.assertEqual(set(self.extract()), {"README/top-1", "README/top-2"})
        self.write({"README.md": BLOCK})
        self.assertEqual(set(self.extract()), {"README/top-1"})


if __name__ == "__main__":
    unittest.main()
