#include "tools/kvlstore/program/kvs_CommandLine.h"

#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <string>

#include <CLI/CLI.hpp>

#include "tools/kvlstore/base/kvs_Error.h"
#include "tools/kvlstore/base/kvs_Output.h"
#include "tools/kvlstore/base/kvs_Text.h"
#include "tools/kvlstore/program/kvs_ManPage.h"
#include "tools/kvlstore/verbs/kvs_Verbs.h"

namespace {

/// The check of a number; a NaN fails, too.
CLI::Validator NumberCheck(double low, double high, char const* problem, char const* type) {
  auto const check = [low, high, problem](std::string const& text) -> std::string {
    double value = 0;
    bool const isNumber = CLI::detail::lexical_cast(text, value);
    return isNumber && value >= low && value <= high ? std::string() : text + problem;
  };
  return {check, type};
}
CLI::Validator NotNegative() {
  return NumberCheck(0, std::numeric_limits<double>::max(), " is no number that is 0 or greater",
                     "NONNEGATIVE");
}
CLI::Validator Interval() {
  return NumberCheck(0.01, 86400, " is no number from 0.01 to 86400", "FLOAT in [0.01 - 86400]");
}

/// The program's verbs and options. What CLI11 fills in lives here.
class CommandLine {
 public:
  CommandLine() {
    m_App.require_subcommand(1);
    m_App.set_version_flag("--version", "kvlstore " KVS_VERSION);
    // For the installation; not among the options that help shows.
    m_App.add_flag_callback("--man-page", [this] { Print(kvs_ManPage(m_App, KVS_VERSION)); })->group("");
    m_App.add_flag_callback("--bash-completion", [this] { Print(kvs_BashCompletion(m_App)); })->group("");
    m_App.footer(
        "An object is named by its root and attributes, plate.m_Nodes[3].m_X, or by its number, #17.\n"
        "Exit status: 0 done, and nothing differs, is damaged or lost; 1 something does; 2 wrong call or failure; "
        "130 interrupted.\n"
        "kvlstore VERB --help has examples.\n");
    AddLooking();
    AddArrays();
    AddReport();
    AddComparing();
    AddKeeping();
  }

  kvs_Status Run(int count, char const* const* arguments) {
    try {
      m_App.parse(count, arguments);
    } catch (CLI::ParseError const& failure) {
      if (failure.get_exit_code() == 0) { // help or version
        m_App.exit(failure);
        return kvs_Status::Same;
      }
      throw kvs_Error(Problem(count, arguments, failure.what()));
    }
    std::optional<kvs_Output> file;
    kvs_Output screen;
    if (!m_OutputPath.empty()) file.emplace(m_OutputPath);
    kvs_Output& out = file ? *file : screen;
    kvs_Status const status = m_Verb(out);
    out.Finish();
    return status;
  }

 private:
  /// What is wrong with the call, in one line.
  [[nodiscard]] std::string Problem(int count, char const* const* arguments, std::string text) const {
    if (count < 2) return "A verb is missing; kvlstore --help lists them.";
    std::string const verb = kvs_Printable(arguments[1]);
    auto const verbs =
        m_App.get_subcommands([&](CLI::App const* each) { return each->get_name() == arguments[1]; });
    CLI::App const* const known = verbs.empty() ? nullptr : verbs.front();
    if (known == nullptr && !verb.starts_with('-'))
      return verb + ": There is no such verb; kvlstore --help lists them.";
    text = kvs_Printable(text);
    if (!text.ends_with('.')) text += '.';
    return text + " See kvlstore " + (known != nullptr ? verb + " " : "") + "--help.";
  }

  using Verb = std::function<kvs_Status(kvs_Output& out)>;

  /// Prints a text instead of running a verb.
  [[noreturn]] static void Print(std::string const& text) {
    kvs_Output out;
    out.Write(text);
    out.Finish();
    throw CLI::Success();
  }

  CLI::App* Add(char const* name, char const* what, char const* examples, Verb verb) {
    CLI::App* const command = m_App.add_subcommand(name, what);
    command->footer(std::string("Examples:\n") + examples);
    command->callback([this, verb = std::move(verb)] { m_Verb = verb; });
    return command;
  }
  void AddStore(CLI::App* command, std::string& store, char const* name = "STORE") {
    command->add_option(name, store, "what a program opens: the file of a store")->required();
  }
  void AddJson(CLI::App* command, bool& json) { command->add_flag("--json", json, "print JSON"); }
  void AddOutput(CLI::App* command) {
    command->add_option("-o,--output", m_OutputPath, "a new file to write to, instead of standard output");
  }
  void AddSlice(CLI::App* command, char const* what) { command->add_option("--slice", m_Slice, what); }

  void AddLooking() {
    CLI::App* command = Add("info", "what the store is, without reading its data",
                            "  kvlstore info plate.kvs\n  kvlstore info plate.kvs --json",
                            [this](kvs_Output& out) { return kvs_Info(m_Store, m_Json, out); });
    AddStore(command, m_Store);
    AddJson(command, m_Json);

    command = Add(
        "ls", "lists root names, or all objects",
        "  kvlstore ls plate.kvs\n  kvlstore ls -l plate.kvs 'analysis/*'\n  kvlstore ls -r plate.kvs --class Node",
        [this](kvs_Output& out) { return kvs_Ls(m_Ls, out); });
    AddStore(command, m_Ls.m_Store);
    command->add_option("PATTERN", m_Ls.m_Pattern, "names with the wildcards *, ? and [a-z]");
    command->add_flag("-l,--long", m_Ls.m_Long, "with numbers, classes, sizes and times");
    command->add_flag("-r,--recursive", m_Ls.m_All,
                      "all objects of the store, in the order of their numbers");
    command->add_option("--class", m_Ls.m_Class, "only objects of this class, and of those derived from it");
    AddJson(command, m_Ls.m_Json);

    command = Add("show", "shows one object as a tree",
                  "  kvlstore show plate.kvs plate\n  kvlstore show plate.kvs 'plate.m_Nodes[3]' --depth 1\n"
                  "  kvlstore show plate.kvs '#17' --json",
                  [this](kvs_Output& out) { return kvs_Show(m_Show, out); });
    AddStore(command, m_Show.m_Store);
    command->add_option("OBJECT", m_Show.m_Object, "root, or root.attribute[element] ..., or #number")
        ->required();
    command->add_option("--depth", m_Show.m_Depth, "how many levels of objects")->check(CLI::Range(0, 1000));
    command->add_option("--elements", m_Show.m_Elements, "how many of each list and map")
        ->check(CLI::NonNegativeNumber);
    AddJson(command, m_Show.m_Json);

    command = Add("classes", "lists the classes and versions that have written to the store",
                  "  kvlstore classes plate.kvs\n  kvlstore classes plate.kvs --emit c++ -o plate_classes.h",
                  [this](kvs_Output& out) {
                    return m_Language.empty() ? kvs_Classes(m_Store, m_Json, out)
                                              : kvs_EmitClasses(m_Store, m_Language, out);
                  });
    AddStore(command, m_Store);
    CLI::Option* const json = command->add_flag("--json", m_Json, "print JSON");
    command->add_option("--emit", m_Language, "as source code that reads the store: c++ or python")
        ->check(CLI::IsMember({"c++", "python"}))
        ->excludes(json);
    AddOutput(command);

    command = Add("log", "lists the saves", "  kvlstore log plate.kvs -n 5\n  kvlstore log plate.kvs --json",
                  [this](kvs_Output& out) { return kvs_Log(m_Log, out); });
    AddStore(command, m_Log.m_Store);
    command->add_option("-n,--last", m_Log.m_Last, "only so many of the newest")->check(CLI::PositiveNumber);
    command->add_flag("-l,--long", m_Log.m_Long, "with what each has changed");
    AddJson(command, m_Log.m_Json);

    command = Add("watch", "follows a running program: prints each save as it comes, until interrupted",
                  "  kvlstore watch run.kvs\n  kvlstore watch run.kvs --saves 1",
                  [this](kvs_Output& out) { return kvs_Watch(m_Watch, out); });
    AddStore(command, m_Watch.m_Store);
    command->add_option("--interval", m_Watch.m_Seconds, "seconds between two looks")->check(Interval());
    command->add_option("--saves", m_Watch.m_Saves, "ends after so many")->check(CLI::PositiveNumber);
    AddJson(command, m_Watch.m_Json);
  }

  void AddArrays() {
    CLI::App* command =
        Add("dump", "writes objects as lines of JSON, or an array as CSV or NPY",
            "  kvlstore dump plate.kvs > plate.jsonl\n  kvlstore dump plate.kvs plate.m_Loads --csv\n"
            "  kvlstore dump plate.kvs plate.m_History --npy -o history.npy --slice -100:",
            [this](kvs_Output& out) {
              if (!m_Slice.empty()) m_Dump.m_Slice = kvs_Slice::Parse(m_Slice);
              return kvs_Dump(m_Dump, out);
            });
    AddStore(command, m_Dump.m_Store);
    command->add_option("OBJECT", m_Dump.m_Object, "one object or array; otherwise all objects");
    CLI::Option* const csv = command->add_flag_callback(
        "--csv", [this] { m_Dump.m_Format = kvs_DumpFormat::Csv; }, "an array as comma-separated values");
    command
        ->add_flag_callback(
            "--npy", [this] { m_Dump.m_Format = kvs_DumpFormat::Npy; }, "an array as a file of NumPy")
        ->excludes(csv);
    AddSlice(command, "rows first:end; negative numbers count from the end");
    AddOutput(command);

    command = Add("plot", "draws an array, in the terminal or as SVG",
                  "  kvlstore plot plate.kvs plate.m_History\n"
                  "  kvlstore plot plate.kvs plate.m_Force plate.m_Time --svg -o force.svg",
                  [this](kvs_Output& out) {
                    if (!m_Slice.empty()) m_Plot.m_Slice = kvs_Slice::Parse(m_Slice);
                    return kvs_Plot(m_Plot, out);
                  });
    AddStore(command, m_Plot.m_Store);
    command->add_option("Y", m_Plot.m_Y, "an array of numbers")->required();
    command->add_option("X", m_Plot.m_X, "another one, for the other axis; otherwise the index");
    command->add_option("--column", m_Plot.m_Column, "which number of each row, from 0")
        ->check(CLI::NonNegativeNumber);
    CLI::Option* const svg = command->add_flag("--svg", m_Plot.m_Svg, "an SVG document");
    command->add_flag("--json", m_Plot.m_Json, "the points of the drawing as JSON")->excludes(svg);
    command->add_option("--width", m_Plot.m_Width, "in characters or pixels")->check(CLI::Range(10, 10000));
    command->add_option("--height", m_Plot.m_Height, "in characters or pixels")->check(CLI::Range(3, 10000));
    AddSlice(command, "rows first:end; negative numbers count from the end");
    AddOutput(command);
  }

  void AddReport() {
    CLI::App* const command =
        Add("report", "writes one HTML file that shows the store in any browser, without a network",
            "  kvlstore report plate.kvs -o plate.html",
            [this](kvs_Output& out) { return kvs_Report(m_Report, out); });
    AddStore(command, m_Report.m_Store);
    command->add_option("--objects", m_Report.m_MaxObjects, "the most objects in its tree")
        ->check(CLI::NonNegativeNumber);
    AddOutput(command);
  }

  void AddComparing() {
    CLI::App* const command = Add(
        "diff", "compares two stores, or two objects",
        "  kvlstore diff old.kvs new.kvs --rel 1e-9\n  kvlstore diff old.kvs new.kvs plate --exclude '*.m_Time'\n"
        "  kvlstore diff run.kvs run.kvs step/1 step/2",
        [this](kvs_Output& out) {
          m_Diff.m_IsNanEqual = !m_NanDiffers;
          return kvs_Diff(m_Diff, out);
        });
    AddStore(command, m_Diff.m_First, "FIRST");
    AddStore(command, m_Diff.m_Second, "SECOND");
    command->add_option("OBJECT", m_Diff.m_FirstObject, "an object of the first store; otherwise all roots");
    command->add_option("OTHER", m_Diff.m_SecondObject,
                        "the one of the second store, if it has another name");
    command->add_option("--abs", m_Diff.m_Absolute, "numbers that are no integers may differ by so much")
        ->check(NotNegative());
    command->add_option("--rel", m_Diff.m_Relative, "or by this share of the larger one")
        ->check(NotNegative());
    command->add_flag(
        "--full", m_Diff.m_Full,
        "reads everything; otherwise stores with equal sums are equal, also if one was damaged later");
    command->add_flag("--nan-differs", m_NanDiffers, "a NaN differs from a NaN");
    command->add_option("--exclude", m_Diff.m_Excluded, "names to leave out, with wildcards; may be repeated")
        ->type_size(1)
        ->allow_extra_args(false);
    command->add_option("--max", m_Diff.m_MaxListed, "how many differences are listed")
        ->check(CLI::NonNegativeNumber);
    AddJson(command, m_Diff.m_Json);
  }

  void AddKeeping() {
    CLI::App* command =
        Add("check", "looks for damage", "  kvlstore check plate.kvs\n  kvlstore check plate.kvs --full",
            [this](kvs_Output& out) { return kvs_Check(m_Store, m_Full, m_Json, out); });
    AddStore(command, m_Store);
    command->add_flag("--full", m_Full, "reads everything; otherwise it is quick");
    AddJson(command, m_Json);

    command = Add("stat", "what takes room: by class and by array", "  kvlstore stat plate.kvs --arrays 10",
                  [this](kvs_Output& out) { return kvs_Stat(m_Store, m_Arrays, m_Json, out); });
    AddStore(command, m_Store);
    command->add_option("--arrays", m_Arrays, "how many of the largest arrays")
        ->check(CLI::NonNegativeNumber);
    AddJson(command, m_Json);

    command = Add(
        "recover", "takes what is readable of a damaged store into a new one, and lists what is lost",
        "  kvlstore recover damaged.kvs rescued.kvs\n  kvlstore recover damaged.kvs rescued.kvs --json > lost.json",
        [this](kvs_Output& out) { return kvs_Recover(m_Store, m_Target, m_Json, out); });
    AddStore(command, m_Store);
    command->add_option("TARGET", m_Target, "the new store; must not exist")->required();
    AddJson(command, m_Json);

    command =
        Add("copy", "copies the store, also while programs use it", "  kvlstore copy plate.kvs backup.kvs",
            [this](kvs_Output& out) { return kvs_Copy(m_Store, m_Target, m_Json, out); });
    AddStore(command, m_Store);
    command->add_option("TARGET", m_Target, "the new store; must not exist")->required();
    AddJson(command, m_Json);

    command =
        Add("compact", "gives room that nothing uses back to the file system", "  kvlstore compact plate.kvs",
            [this](kvs_Output& out) { return kvs_Compact(m_Store, m_Json, out); });
    AddStore(command, m_Store);
    AddJson(command, m_Json);
  }

  CLI::App m_App{"Looks into stores without the programs that wrote them.", "kvlstore"};
  Verb m_Verb;
  std::string m_Store, m_Target, m_OutputPath, m_Slice, m_Language;
  bool m_Json = false;
  bool m_Full = false;
  bool m_NanDiffers = false;
  std::int64_t m_Arrays = 20;
  kvs_LsOptions m_Ls;
  kvs_ShowOptions m_Show;
  kvs_DumpOptions m_Dump;
  kvs_PlotOptions m_Plot;
  kvs_ReportVerbOptions m_Report;
  kvs_DiffOptions m_Diff;
  kvs_LogOptions m_Log;
  kvs_WatchOptions m_Watch;
};

} // namespace

kvs_Status kvs_RunCommandLine(int count, char const* const* arguments) {
  return CommandLine().Run(count, arguments);
}
