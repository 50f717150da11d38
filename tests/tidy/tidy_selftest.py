#!/usr/bin/env python3
"""Tests of tidy.py: for each rule a small tree that follows it, and trees that break it."""

import contextlib
import io
import pathlib
import tempfile
import unittest

import tidy

HEADER = "#pragma once\n"


def including(*targets: str) -> str:
    return HEADER + "".join(f'#include "{target}"\n' for target in targets)


class TreeTest(unittest.TestCase):
    """Makes trees from texts in separate folders."""

    def setUp(self) -> None:
        self.start_tree()

    def start_tree(self) -> None:
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name)

    def write(self, files: dict[str, str]) -> tidy.Tree:
        for path, text in files.items():
            file = self.root / path
            file.parent.mkdir(parents=True, exist_ok=True)
            file.write_text(text, encoding="utf-8")
        return tidy.Tree(self.root)

    def findings(self, check, files: dict[str, str]) -> list[str]:
        """The findings in a tree of exactly these files."""
        self.start_tree()
        return [str(finding) for finding in check(self.write(files))]

    def assert_clean(self, check, files: dict[str, str]) -> None:
        self.assertEqual(self.findings(check, files), [])

    def assert_finding(self, check, files: dict[str, str], start: str, part: str) -> None:
        """Expects exactly one finding, which starts with `start` and contains `part`."""
        found = self.findings(check, files)
        self.assertEqual(len(found), 1, found)
        self.assertTrue(found[0].startswith(start), found[0])
        self.assertIn(part, found[0])


class Includes(TreeTest):
    LAYERS_UP = [
        "platform/cow/c.h", "persist/p.h", "metadata/m.h", "persist/adapters/a.h", "errors/e.h", "module/o.h",
        "store/base/b.h", "store/format/f.h", "store/driver/d.h", "store/session/n.h", "store/objects/j.h",
        "store/agents/g.h", "store/graph/r.h", "store/s.h", "tools/t.h",
    ]

    def include(self, path: str, target: str) -> list[str]:
        text = including(target)
        return self.findings(tidy.check_includes, {target: HEADER, path: text})

    def assert_allowed(self, path: str, target: str) -> None:
        self.assertEqual(self.include(path, target), [])

    def assert_refused(self, path: str, target: str, part: str) -> None:
        found = self.include(path, target)
        self.assertEqual(len(found), 1, (path, target, found))
        self.assertTrue(found[0].startswith(f"{path}:2: "), found[0])
        self.assertIn(part, found[0])

    def test_every_layer_may_include_itself_and_the_lower_ones(self) -> None:
        for index, path in enumerate(self.LAYERS_UP):
            for target in self.LAYERS_UP[:index]:
                self.assert_allowed(path, target)
            self.assert_allowed(path, path.replace(".h", "2.h"))

    def test_no_layer_may_include_a_higher_one(self) -> None:
        for index, path in enumerate(self.LAYERS_UP):
            for target in self.LAYERS_UP[index + 1:]:
                self.assert_refused(path, target, "points up")

    def test_folders_of_layer_four_do_not_know_each_other(self) -> None:
        self.assert_refused("errors/e.cpp", "wrappers/w.h", "do not know each other")
        self.assert_refused("collections/c.h", "errors/e.h", "do not know each other")
        self.assert_refused("wrappers/w.h", "collections/c.h", "do not know each other")
        self.assert_allowed("wrappers/w.h", "wrappers/v.h")

    def test_the_storage_and_the_sessions_do_not_know_each_other(self) -> None:
        self.assert_refused("store/session/n.cpp", "store/sqlite/q.h", "do not know each other")
        self.assert_refused("store/sqlite/q.cpp", "store/session/n.h", "do not know each other")
        self.assert_allowed("store/sqlite/q.cpp", "store/driver/d.h")
        self.assert_allowed("store/s.cpp", "store/sqlite/q.h")

    def test_a_single_file_may_have_a_layer_of_its_own(self) -> None:
        self.assert_allowed("store/session/n.h", "store/sto_Options.h")
        self.assert_allowed("store/base/b.h", "store/sto_Options.h")
        self.assert_refused("store/sto_Options.h", "store/session/n.h", "points up")
        self.assert_refused("store/session/n.h", "store/sto_Store.h", "points up")

    def test_a_unit_test_of_the_store_may_use_all_of_it(self) -> None:
        self.assert_allowed("store/format/f_test.cpp", "store/session/n.h")
        self.assert_allowed("store/session/n_test.cpp", "store/sqlite/q.h")
        self.assert_allowed("store/base/b_test.cpp", "store/s.h")
        self.assert_allowed("store/base/b_test.cpp", "tests/support/s.h")
        self.assert_refused("store/base/b_test.cpp", "tools/t.h", "points up")
        self.assert_refused("store/base/b_test.cpp", "tests/contract/c.h", "nothing of tests/ but")

    def test_folders_of_the_top_layer_may_know_each_other(self) -> None:
        self.assert_allowed("bench/b.cpp", "examples/heat/h.h")

    def test_platform_libraries_have_an_order_of_their_own(self) -> None:
        allowed = {("omni", "mem"), ("thr", "mem"), ("thr", "omni"), ("cow", "mem"), ("typ", "mem"), ("typ", "cow"),
                   ("atr", "mem"), ("atr", "cow"), ("atr", "omni")}
        libraries = ["mem", "omni", "thr", "cow", "typ", "atr"]
        for own in libraries:
            self.assert_allowed(f"platform/{own}/x.h", f"platform/{own}/y.h")
            for other in libraries:
                path, target = f"platform/{own}/x.h", f"platform/{other}/y.h"
                if (own, other) in allowed:
                    self.assert_allowed(path, target)
                elif own != other:
                    self.assert_refused(path, target, f"platform/{own} may not use platform/{other}")

    def test_headers_directly_in_platform_are_open_to_all(self) -> None:
        self.assert_allowed("platform/mem/m.h", "platform/export.h")

    def test_a_header_directly_in_platform_uses_no_library(self) -> None:
        self.assert_refused("platform/export.h", "platform/mem/m.h", "may not use platform/mem")

    def test_product_code_never_includes_tests(self) -> None:
        self.assert_refused("persist/p.cpp", "tests/support/s.h", "includes a test's header")
        self.assert_refused("bench/b.cpp", "tests/support/s.h", "includes a test's header")

    def test_a_unit_test_may_use_the_support_and_its_folders_layer(self) -> None:
        self.assert_allowed("persist/p_test.cpp", "tests/support/s.h")
        self.assert_allowed("persist/p_test.cpp", "platform/cow/c.h")
        self.assert_allowed("wrappers/w_test.cpp", "errors/e.h")
        self.assert_allowed("platform/mem/m_test.cpp", "platform/thr/t.h")
        self.assert_refused("platform/mem/m_test.cpp", "persist/p.h", "points up")
        self.assert_refused("persist/p_test.cpp", "errors/e.h", "points up")
        self.assert_refused("persist/p_test.cpp", "tests/contract/c.h", "nothing of tests/ but")

    def test_the_tests_folder_crosses_layers(self) -> None:
        self.assert_allowed("tests/support/s.h", "store/s.h")
        self.assert_allowed("tests/contract/c_test.cpp", "tests/support/s.h")
        self.assert_allowed("tests/contract/c_test.cpp", "tests/contract/c.h")

    def test_paths_start_at_the_root(self) -> None:
        files = {"persist/p.h": HEADER, "persist/q.h": including("p.h")}
        self.assert_finding(tidy.check_includes, files, "persist/q.h:2:", "not a path from the root")

    def test_paths_do_not_climb(self) -> None:
        files = {"persist/p.h": HEADER, "persist/q.h": including("../persist/p.h")}
        self.assert_finding(tidy.check_includes, files, "persist/q.h:2:", "not a path from the root")

    def test_angle_brackets_do_not_hide_headers_of_the_project(self) -> None:
        files = {"store/s.h": HEADER, "persist/p.h": HEADER + "#include <store/s.h>\n"}
        self.assert_finding(tidy.check_includes, files, "persist/p.h:2:", "in quotes")

    def test_installed_headers_are_for_programs_of_users(self) -> None:
        text = "#include <kvlpersist/persist/p.h>\n"
        for path in ["tests/consumer/main.cpp", "tests/documents/AMain.cpp"]:
            self.assert_clean(tidy.check_includes, {"persist/p.h": HEADER, path: text})
        for path in ["persist/q.cpp", "examples/e.cpp", "tests/t.cpp", "tests/documents/A_test.cpp"]:
            self.assert_finding(tidy.check_includes, {"persist/p.h": HEADER, path: text}, f"{path}:1:", "in quotes")

    def test_a_program_of_a_user_includes_installed_headers_that_are_there(self) -> None:
        self.assert_finding(tidy.check_includes, {"tests/consumer/main.cpp": "#include <kvlpersist/persist/p.h>\n"},
                            "tests/consumer/main.cpp:1:", "no such header")

    def test_a_program_of_a_user_does_not_see_the_tree(self) -> None:
        files = {"store/s.h": HEADER, "tests/consumer/main.cpp": '#include "store/s.h"\n'}
        self.assert_finding(tidy.check_includes, files, "tests/consumer/main.cpp:1:", "a user's program")
        self.assert_clean(tidy.check_includes, files | {"tests/consumer/store/s.h": HEADER})

    def test_a_users_program_includes_the_entry_of_the_contract_suite_only(self) -> None:
        program = "tests/consumer/settings.cpp"
        self.assert_clean(tidy.check_includes, {program: '#include "tests/contract/ContractBackEnd.h"\n'})
        files = {"tests/contract/ContractTest.h": HEADER, program: '#include "tests/contract/ContractTest.h"\n'}
        self.assert_finding(tidy.check_includes, files, program + ":1:", "a user's program")

    def test_headers_of_others_stand_in_angle_brackets(self) -> None:
        self.assert_clean(tidy.check_includes, {"persist/p.h": HEADER + "#  include <vector> // for a list\n"})

    def test_a_macro_is_no_include(self) -> None:
        files = {"persist/p.h": HEADER + "#include WHERE\n"}
        self.assert_finding(tidy.check_includes, files, "persist/p.h:2:", "neither")

    def test_comments_and_raw_strings_include_nothing(self) -> None:
        text = ('// #include "a.h"\n/*\n#include "b.h"\n*/\nchar const* s = R"x(\n#include "c.h"\n)x";\n'
                'char c = \'"\'; int n = 1\'000; // "\n')
        self.assert_clean(tidy.check_includes, {"persist/p.h": HEADER + text})

    def test_what_follows_a_tricky_literal_still_counts(self) -> None:
        text = HEADER + 'char const* s = "/*"; int n = 1\'0;\n#include "gone.h"\n'
        self.assert_finding(tidy.check_includes, {"persist/p.h": text}, "persist/p.h:3:", "not a path")

    def test_a_path_that_only_begins_as_a_layer_is_another_folder(self) -> None:
        self.assertEqual(tidy.folder_of("persistence/p.h"), "")
        self.assertEqual(tidy.folder_of("persist/adapters/a.h"), "persist/adapters")


class Lists(TreeTest):
    def test_a_listed_file_is_fine_from_the_root_and_beside_the_list(self) -> None:
        self.assert_clean(tidy.check_lists, {
            "CMakeLists.txt": "target(t ${A_SOURCES})",
            "cmake/Sources.cmake": "set(A_SOURCES\n  persist/a.cpp)",
            "examples/heat/CMakeLists.txt": 'add_executable(h b.cpp "${CMAKE_CURRENT_SOURCE_DIR}/c.cpp")',
            "persist/a.cpp": "", "examples/heat/b.cpp": "", "examples/heat/c.cpp": ""})

    def test_a_file_that_no_list_names(self) -> None:
        files = {"CMakeLists.txt": "", "persist/a_test.cpp": ""}
        self.assert_finding(tidy.check_lists, files, "persist/a_test.cpp:1:", "nothing builds it")

    def test_a_commented_line_names_nothing(self) -> None:
        files = {"CMakeLists.txt": "add_library(a\n  # persist/a.cpp\n)", "persist/a.cpp": ""}
        self.assert_finding(tidy.check_lists, files, "persist/a.cpp:1:", "nothing builds it")

    def test_a_bracket_comment_names_nothing(self) -> None:
        files = {"CMakeLists.txt": "#[[ add_library(a\n persist/a.cpp) ]]", "persist/a.cpp": ""}
        self.assert_finding(tidy.check_lists, files, "persist/a.cpp:1:", "nothing builds it")

    def test_the_same_name_in_another_folder_is_another_file(self) -> None:
        files = {"CMakeLists.txt": "add_library(a persist/a.cpp)", "persist/a.cpp": "", "store/a.cpp": ""}
        self.assert_finding(tidy.check_lists, files, "store/a.cpp:1:", "nothing builds it")

    def test_a_listed_file_that_does_not_exist(self) -> None:
        files = {"CMakeLists.txt": "add_library(a\n  persist/gone.cpp)", "persist/a.h": HEADER}
        self.assert_finding(tidy.check_lists, files, "CMakeLists.txt:2:", "does not exist")

    def test_patterns_are_refused(self) -> None:
        files = {"CMakeLists.txt": "file(GLOB all persist/*.cpp)", "persist/a.h": HEADER}
        self.assert_finding(tidy.check_lists, files, "CMakeLists.txt:1:", "not by pattern")

    def test_a_list_that_nothing_uses(self) -> None:
        files = {"cmake/Sources.cmake": "\nset(A_TEST_SOURCES persist/a.cpp)", "persist/a.cpp": ""}
        self.assert_finding(tidy.check_lists, files, "cmake/Sources.cmake:2:", "nothing uses the list A_TEST_SOURCES")


class Length(TreeTest):
    def lines(self, count: int) -> str:
        return "\n" * count

    def test_the_limit_itself_is_fine(self) -> None:
        self.assert_clean(tidy.check_length, {"persist/a.cpp": self.lines(tidy.MAX_PRODUCT_LINES)})

    def test_one_line_more_is_not(self) -> None:
        for path in ["persist/a.cpp", "store/sqlite/a.h", "python/a.py"]:
            with self.subTest(path):
                files = {path: self.lines(tidy.MAX_PRODUCT_LINES + 1)}
                self.assert_finding(tidy.check_length, files, f"{path}:801:", "801 lines")

    def test_tests_may_be_longer(self) -> None:
        long = self.lines(tidy.MAX_PRODUCT_LINES + 1)
        self.assert_clean(tidy.check_length, {"persist/a_test.cpp": long, "tests/support/b.h": long})


class Markers(TreeTest):
    # Written in two halves, because this file is checked too.
    BAD = ["// TO" + "DO: more", "FIX" + "ME", "XX" + "X", "HA" + "CK", "TEST(A, DISABLED" + "_B)", "GTEST" + "_SKIP()",
           "#if " + "0", "  # if " + "0", "<" * 7 + " HEAD", ">" * 7 + " branch", "|" * 7 + " base", "=" * 7]
    GOOD = ["mktemp -t name.XX" + "XXXX", "method", "#if 01 // never", "#if defined(A)", "std::cout <" + "< a", "=" * 8,
            "HA" + "CKSAW", "int DISABLED = 0;"]

    def test_one_header_may_skip_tests(self) -> None:
        skip = "GTEST" + "_SKIP();\n"
        self.assert_clean(tidy.check_markers, {tidy.MAY_SKIP: skip})
        self.assert_finding(tidy.check_markers, {"tests/contract/Lists_test.cpp": skip}, "tests/contract/Lists_test.cpp:1:",
                            "skipped test")
        self.assert_finding(tidy.check_markers, {tidy.MAY_SKIP: "FIX" + "ME"}, f"{tidy.MAY_SKIP}:1:", "leftover marker")

    def test_each_marker_is_found(self) -> None:
        for bad in self.BAD:
            for path in ["persist/a.cpp", "scripts/a.sh", "cmake/a.cmake", "CMakeLists.txt", "tests/a/b.py"]:
                with self.subTest(bad=bad, path=path):
                        self.assert_finding(tidy.check_markers, {path: "first\n" + bad + "\n"}, f"{path}:2:", "")

    def test_what_only_looks_like_one_is_not(self) -> None:
        for good in self.GOOD:
            self.assert_clean(tidy.check_markers, {"persist/a.cpp": good + "\n"})

    def test_a_markdown_heading_is_no_conflict(self) -> None:
        self.assert_clean(tidy.check_markers, {"docs/a.md": "Heading\n" + "=" * 7 + "\n"})

    def test_the_checker_does_not_find_itself(self) -> None:
        here = pathlib.Path(__file__).parent
        files = {f"tests/tidy/{path.name}": path.read_text(encoding="utf-8") for path in here.glob("*.py")}
        self.assertIn("tests/tidy/tidy.py", files)
        self.assert_clean(tidy.check_markers, files)


class Guards(TreeTest):
    def test_a_header_with_its_guard(self) -> None:
        self.assert_clean(tidy.check_guards, {"persist/a.h": "// A title.\n#pragma once\n", "persist/a.cpp": ""})

    def test_a_header_without(self) -> None:
        self.assert_finding(tidy.check_guards, {"tests/support/a.h": "int a;\n"}, "tests/support/a.h:1:", "no #pragma")

    def test_a_commented_guard_guards_nothing(self) -> None:
        files = {"persist/a.h": "// x\n/*\n#pragma once\n*/\n"}
        self.assert_finding(tidy.check_guards, files, "persist/a.h:1:", "no #pragma")


class Manifest(TreeTest):
    TESTS = "TEST(A, B) {}\nTEST_F(A, C) {}\n  TEST_P(A, D) {}\nTYPED_TEST(A, E) {}\nTYPED_TEST_P(A, F) {}\n"

    def with_manifest(self, manifest: str, text: str = TESTS) -> dict[str, str]:
        return {tidy.MANIFEST: manifest, "persist/a_test.cpp": text}

    def test_the_count_that_is_written_down(self) -> None:
        self.assert_clean(tidy.check_manifest, self.with_manifest("# title\n\n   5 persist/a_test.cpp\n"))

    def test_more_tests_are_welcome(self) -> None:
        self.assert_clean(tidy.check_manifest, self.with_manifest("4 persist/a_test.cpp\n"))

    def test_fewer_tests(self) -> None:
        files = self.with_manifest("6 persist/a_test.cpp\n")
        self.assert_finding(tidy.check_manifest, files, "persist/a_test.cpp:1:", "5 tests; there were 6")

    def test_a_commented_test_is_no_test(self) -> None:
        files = self.with_manifest("2 persist/a_test.cpp\n", "TEST(A, B) {}\n// TEST(A, C) {}\n/*\nTEST(A, D)\n*/\n")
        self.assert_finding(tidy.check_manifest, files, "persist/a_test.cpp:1:", "1 tests; there were 2")

    def test_a_vanished_file(self) -> None:
        files = self.with_manifest("5 persist/a_test.cpp\n1 persist/gone_test.cpp\n")
        self.assert_finding(tidy.check_manifest, files, f"{tidy.MANIFEST}:2:", "persist/gone_test.cpp is gone")

    def test_a_file_that_is_not_written_down(self) -> None:
        files = self.with_manifest("# none\n")
        self.assert_finding(tidy.check_manifest, files, "persist/a_test.cpp:1:", "not in the list")

    def test_a_vanished_manifest(self) -> None:
        files = {"persist/a_test.cpp": self.TESTS}
        self.assert_finding(tidy.check_manifest, files, tidy.MANIFEST, "gone")

    def test_updating_writes_down_what_is_there(self) -> None:
        self.write(self.with_manifest("9 persist/gone_test.cpp\n"))
        tidy.update_manifest(tidy.Tree(self.root))
        self.assertIn("\n   5 persist/a_test.cpp\n", (self.root / tidy.MANIFEST).read_text(encoding="utf-8"))
        self.assertEqual(list(tidy.check_manifest(tidy.Tree(self.root))), [])


class Program(TreeTest):
    GOOD = {"CMakeLists.txt": "add_library(a persist/a.cpp)", "persist/a.h": HEADER,
            "persist/a.cpp": '#include "persist/a.h"\n', tidy.MANIFEST: ""}

    def run_program(self, files: dict[str, str], *options: str) -> tuple[int, str]:
        self.write(files)
        output = io.StringIO()
        with contextlib.redirect_stdout(output):
            status = tidy.main(["--root", str(self.root), *options])
        return status, output.getvalue()

    def test_a_tidy_tree(self) -> None:
        self.assertEqual(self.run_program(self.GOOD), (0, "tidy: 4 files, 0 findings\n"))

    def test_every_check_takes_part(self) -> None:
        bad = {"persist/b.h": '#include "gone.h"\n' + "// TO" + "DO\n" + "\n" * 900,
               "persist/c_test.cpp": "TEST(A, B) {}\n"}
        status, output = self.run_program(self.GOOD | bad)
        self.assertEqual(status, 1)
        for part in ["not a path", "nothing builds it", "lines; the limit", "leftover marker", "#pragma once",
                     "list of tests"]:
            self.assertIn(part, output)
        self.assertTrue(output.endswith("tidy: 6 files, 6 findings\n"), output)

    def test_a_wrong_root_is_not_tidy(self) -> None:
        status, output = self.run_program({"README.md": ""})
        self.assertEqual(status, 1)
        self.assertTrue(output.startswith("tidy: there is no source under "), output)

    def test_build_trees_and_the_repository_are_not_read(self) -> None:
        outside = {"build/dev/a.cpp": "", ".git/b.cpp": "", "install/include/c.h": "TO" + "DO"}
        self.assertEqual(self.run_program(self.GOOD | outside)[0], 0)

    def test_updating_the_manifest(self) -> None:
        files = self.GOOD | {"persist/a_test.cpp": "TEST(A, B) {}\n",
                             "CMakeLists.txt": "add_library(a persist/a.cpp persist/a_test.cpp)"}
        self.assertEqual(self.run_program(files)[0], 1)
        self.assertEqual(self.run_program({}, "--update-manifest")[0], 0)
        self.assertEqual(self.run_program({})[0], 0)


if __name__ == "__main__":
    unittest.main()
