#include "tools/kvlstore/program/kvs_ManPage.h"

#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

namespace {

/// A text for man(7): hyphens that are copied as such, no escapes, and no line that begins with a macro.
std::string Roff(std::string const& text) {
  std::string escaped;
  for (char const c : text) {
    if (c == '\\')
      escaped += "\\e";
    else if (c == '-')
      escaped += "\\-";
    else {
      if ((c == '.' || c == '\'') && (escaped.empty() || escaped.back() == '\n')) escaped += "\\&";
      escaped += c;
    }
  }
  return escaped;
}

std::vector<CLI::App const*> Verbs(CLI::App const& program) {
  return program.get_subcommands([](CLI::App const*) { return true; });
}

std::vector<CLI::Option const*> Options(CLI::App const& verb, bool positional) {
  return verb.get_options([positional](CLI::Option const* option) {
    return option->get_positional() == positional && !option->get_group().empty();
  });
}

/// "--slice TEXT"; "STORE" of a positional one.
std::string Signature(CLI::Option const& option) {
  std::string text = option.get_name(option.get_positional(), true);
  if (!option.get_positional() && option.get_items_expected_max() > 0) text += " VALUE";
  return text;
}

std::string Synopsis(CLI::App const& verb) {
  std::string text = Roff(verb.get_name());
  for (CLI::Option const* const option : Options(verb, true)) {
    std::string const name = Roff(option->get_name(true));
    text += option->get_required() ? " " + name : " [" + name + "]";
  }
  return text + " [options]";
}

std::string Words(CLI::App const& verb) {
  std::string words;
  for (CLI::Option const* const option : Options(verb, false)) {
    for (std::string const& name : option->get_lnames()) words += " --" + name;
    for (std::string const& name : option->get_snames()) words += " -" + name;
  }
  return words.empty() ? words : words.substr(1);
}

} // namespace

std::string kvs_ManPage(CLI::App const& program, std::string const& version) {
  std::string page = fmt::format(".TH KVLSTORE 1 \"\" \"kvlstore {}\" \"User Commands\"\n", Roff(version));
  page += ".SH NAME\nkvlstore \\- look into object stores\n.SH SYNOPSIS\n";
  page += ".B kvlstore\n.I verb store\n[arguments] [options]\n.SH DESCRIPTION\n";
  page += Roff(program.get_description()) + "\n.PP\n";
  for (char const c : Roff(program.get_footer()))
    page += c == '\n' ? std::string("\n.PP\n") : std::string(1, c);
  page += '\n';
  page += ".SH VERBS\n";
  for (CLI::App const* const verb : Verbs(program)) {
    page += ".SS " + Synopsis(*verb) + "\n" + Roff(verb->get_description()) + ".\n";
    for (bool const positional : {true, false})
      for (CLI::Option const* const option : Options(*verb, positional))
        page += ".TP\n.B " + Roff(Signature(*option)) + "\n" + Roff(option->get_description()) + "\n";
    page += ".PP\n.nf\n" + Roff(verb->get_footer()) + "\n.fi\n";
  }
  page += ".SH ENVIRONMENT\n.TP\n.B NO_COLOR\nNo colour on terminals, if it is set and not empty.\n";
  return page;
}

std::string kvs_BashCompletion(CLI::App const& program) {
  std::string verbs, cases;
  for (CLI::App const* const verb : Verbs(program)) {
    verbs += (verbs.empty() ? "" : " ") + verb->get_name();
    cases += fmt::format("    {}) words='{}' ;;\n", verb->get_name(), Words(*verb));
  }
  return fmt::format(R"(# Completion of kvlstore for bash.
_kvlstore() {{
  local word=${{COMP_WORDS[COMP_CWORD]}} words=
  if ((COMP_CWORD == 1)); then
    mapfile -t COMPREPLY < <(compgen -W '{} --help --version' -- "$word")
    return
  fi
  case ${{COMP_WORDS[1]}} in
{}  esac
  if [[ $word == -* ]]; then
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$word")
  else
    mapfile -t COMPREPLY < <(compgen -f -- "$word")
  fi
}}
complete -o filenames -F _kvlstore kvlstore
)",
                     verbs, cases);
}
