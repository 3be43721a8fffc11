// The plug-in's commands: the table with each row's availability, the
// parameters a command's dialogs open with, and running any row with its
// parameters, answers, image choices and files given as keywords.
#include <pybind11/stl.h>
#include <pybind11/stl/filesystem.h>

#include <cmath>
#include <filesystem>
#include <map>

#include "apps/tamble/failure.h"
#include "apps/tamble/steps.h"
#include "host/command.h"
#include "host/paramRecord.h"
#include "python/bindings.h"

namespace tamble::py {

// One row of the command table as Python sees it.
struct commandRow {
  std::string name, label, group, availability;
  bool available = false;
  std::vector<std::pair<std::string, std::string>> asks;  // kind, title
};

namespace {

const char* kindName(userChoice::kind k) {
  switch (k) {
    case userChoice::kind::image: return "image";
    case userChoice::kind::file: return "file";
    case userChoice::kind::question: return "question";
  }
  return "";
}

commandRow rowOf(const commandDescriptor& d, const zel::imagesList& list) {
  commandRow row{d.name, d.label, d.group, d.enabled.name, !d.enabled.test || d.enabled.test(list),
                 {}};
  for (const userChoice& c : d.asks) row.asks.emplace_back(kindName(c.what), c.title);
  return row;
}

// A record's values as Python numbers: ints and radios as int.
pyb::dict valuesOf(const paramRecord& record) {
  pyb::dict values;
  const std::vector<paramInfo>& fields = record.fields();
  for (std::size_t i = 0; i < fields.size(); ++i) {
    const double v = record.value(i);
    const bool whole = fields[i].type == paramType::Int || fields[i].type == paramType::Radio;
    values[pyb::str(fields[i].key)] =
        whole ? pyb::object(pyb::int_(static_cast<long long>(v))) : pyb::object(pyb::float_(v));
  }
  return values;
}

// One keyword that may hold one value or a list of them.
template <class T>
std::vector<T> listOf(const pyb::kwargs& given, const char* key) {
  if (!given.contains(key)) return {};
  const pyb::object value = given[key];
  if (value.is_none()) return {};
  if (pyb::isinstance<pyb::list>(value) || pyb::isinstance<pyb::tuple>(value))
    return value.cast<std::vector<T>>();
  return {value.cast<T>()};
}

std::vector<std::string> pathsOf(const pyb::kwargs& given, const char* key) {
  std::vector<std::string> paths;
  for (const auto& p : listOf<std::filesystem::path>(given, key)) paths.push_back(p.string());
  return paths;
}

// The answers of a run: `answers` (yes/no, in the order asked), `image`
// (names for the image choices), `file` (paths for the file choices); every
// other keyword is a parameter of the command's dialogs.
cli::stepArgs runArgsOf(const std::string& command, const pyb::kwargs& given) {
  cli::stepArgs a;
  a.command = command;
  a.images = listOf<std::string>(given, "image");
  a.files = pathsOf(given, "file");
  for (bool answer : listOf<bool>(given, "answers")) a.answers.push_back(answer ? "yes" : "no");
  pyb::kwargs params;
  for (auto [key, value] : given) {
    const std::string k = pyb::str(key);
    if (k != "image" && k != "file" && k != "answers") params[key] = value;
  }
  a.words = wordsOf(params);
  return a;
}

}  // namespace

std::string wordValue(const std::string& key, pyb::handle value) {
  if (pyb::isinstance<pyb::str>(value)) return pyb::str(value);
  if (pyb::isinstance<pyb::bool_>(value)) return value.cast<bool>() ? "1" : "0";
  // Python's and NumPy's integers and floats alike.
  if (PyIndex_Check(value.ptr()))
    return pyb::str(pyb::int_(pyb::reinterpret_borrow<pyb::object>(value)));
  if (pyb::hasattr(value, "__float__"))
    return pyb::repr(pyb::float_(pyb::reinterpret_borrow<pyb::object>(value)));
  throw pyb::type_error("'" + key + "' must be a number, True/False or a text; got " +
                        std::string(pyb::str(value.get_type().attr("__name__"))));
}

std::vector<std::string> wordsOf(const pyb::kwargs& options) {
  std::vector<std::string> words;
  for (auto [key, value] : options) {
    const std::string k = pyb::str(key);
    words.push_back(k + "=" + wordValue(k, value));
  }
  return words;
}

void bindCommands(pyb::module_& m, pyb::class_<sessionHandle>& session) {
  pyb::class_<commandRow>(m, "Command", "One row of the plug-in's command table.")
      .def_readonly("name", &commandRow::name, "The stable short name that run() takes.")
      .def_readonly("label", &commandRow::label, "The menu text.")
      .def_readonly("group", &commandRow::group, "The menu: MC, Edit, Transform, ...")
      .def_readonly("available", &commandRow::available, "Whether it can run now.")
      .def_readonly("availability", &commandRow::availability,
                    "The name of the test that decides availability.")
      .def_readonly("asks", &commandRow::asks,
                    "What it asks besides its parameters, in order: (kind, title) with kind "
                    "'image', 'file' or 'question'.")
      .def("__repr__", [](const commandRow& r) {
        return "<tamble.Command " + r.name + " \"" + r.label + "\"" +
               (r.available ? "" : " (not available)") + ">";
      });

  session
      .def(
          "commands",
          [](const sessionHandle& h) {
            std::vector<commandRow> rows;
            withSession(*h.shared, [&](cli::session& s) {
              for (const menuEntry& e : s.plugin().menu())
                if (e.command) rows.push_back(rowOf(*e.command, s.list));
            });
            return rows;
          },
          "The command table in menu order (separators left out), with each row's "
          "availability now.")
      .def(
          "parameters",
          [](const sessionHandle& h, const std::string& command) {
            std::vector<std::unique_ptr<paramRecord>> records;
            withSession(*h.shared, [&](cli::session& s) {
              for (recordMaker make : s.plugin().names().resolve(command).records) {
                records.push_back(make());
                loadRecord(*records.back());
              }
            });
            pyb::dict out;
            for (const auto& r : records)
              out[pyb::str(r->title().empty() ? r->className() : r->title())] = valuesOf(*r);
            return out;
          },
          pyb::arg("command"),
          "The values each dialog of `command` opens with next (the remembered values with the "
          "store's over them), by dialog title: {title: {key: value}}.")
      .def(
          "run",
          [](const sessionHandle& h, const std::string& command, const pyb::kwargs& given) {
            const cli::stepArgs args = runArgsOf(command, given);
            return noticesOf(
                withSession(*h.shared, [&](cli::session& s) { cli::runStep(s, args); }));
          },
          pyb::arg("command"),
          "Runs a command by its name or label. Keywords: the parameters of its dialogs "
          "(diameter=5 or m_diameter=5; a radio by value or label), answers=[True, False] for "
          "its yes/no questions in order, image='name' (or a list) for its image choices, "
          "file='path' (or a list) for its file choices. Everything given must be asked for. "
          "Answers the notices it showed (also logged to the 'tamble' logger); Python's other "
          "threads run meanwhile.");
}

}  // namespace tamble::py
