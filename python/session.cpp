// tamble.Session: opening and closing (also as a context manager), what
// commands told, and the projects: opening one, converting it, its results.
#include <pybind11/stl.h>
#include <pybind11/stl/filesystem.h>

#include <filesystem>
#include <sstream>

#include "api/numbers.h"
#include "apps/tamble/convertList.h"
#include "apps/tamble/failure.h"
#include "apps/tamble/steps.h"
#include "host/project.h"
#include "python/bindings.h"

namespace tamble::py {
namespace {

// The plug-in beside the installed package, when there is one.
std::string pluginBeside;

// The images a conversion makes, by the result cards of the paint.
constexpr const char* resultNames[] = {"Irefe_Isens", "Pressure", "P_Pstat", "Cp", "T"};

// "Dark subtraction: 0.011 seconds" lines as {"Dark subtraction": 0.011}.
pyb::dict reportOf(const std::string& text) {
  pyb::dict stages;
  std::istringstream lines(text);
  std::string line;
  while (std::getline(lines, line)) {
    const std::size_t colon = line.rfind(": ");
    if (colon == std::string::npos) continue;
    const auto seconds =
        zel::parseNumber(line.substr(colon + 2, line.find(' ', colon + 2) - colon - 2));
    if (seconds) stages[pyb::str(line.substr(0, colon))] = *seconds;
  }
  return stages;
}

// Waits for a command of another thread to end, with Python's lock released.
void closeCore(core& c) {
  pyb::gil_scoped_release released;
  std::lock_guard<std::mutex> lock(c.busy);
  c.close();
}

std::string projectOpen() {
  if (empty_vur()) throw cli::stepError("no project is open; call open_project(path) first");
  return get_vur().project_file;
}

}  // namespace

std::vector<std::string> noticesOf(const std::vector<toldItem>& told) {
  std::vector<std::string> texts;
  for (const auto& [kind, text] : told)
    if (kind != "question" && kind != "answer") texts.push_back(text);
  return texts;
}

void logTold(const std::vector<toldItem>& told) {
  if (told.empty()) return;
  const pyb::object logger = pyb::module_::import("logging").attr("getLogger")("tamble");
  for (const auto& [kind, text] : told) {
    const bool asked = kind == "question" || kind == "answer";
    logger.attr(asked ? "debug" : "info")("%s: %s", kind, text);
  }
}

void bindSession(pyb::module_& m) {
  m.def(
      "_use_plugin_beside", [](const std::string& path) { pluginBeside = path; },
      "For the package: the plug-in that lies beside it.");
  pyb::class_<sessionHandle> session(
      m, "Session",
      "An images list, the plug-in and a parameter store. One session is open per process "
      "at a time (the plug-in's state is process-wide); close it, or use it as a context "
      "manager.");
  session
      .def(pyb::init([](std::optional<std::filesystem::path> store,
                        std::optional<std::filesystem::path> plugin, const std::string& unanswered,
                        std::optional<std::filesystem::path> log) {
             sessionOptions o;
             o.store = store ? store->string() : "";
             o.plugin = plugin ? plugin->string() : pluginBeside;
             o.unanswered = unanswered;
             o.log = log ? log->string() : "";
             return sessionHandle(std::make_shared<core>(o));
           }),
           pyb::kw_only(), pyb::arg("store") = pyb::none(), pyb::arg("plugin") = pyb::none(),
           pyb::arg("unanswered") = "error", pyb::arg("log") = pyb::none(),
           "store: the parameter store file (default: a private one in a temporary folder, "
           "removed at close). plugin: the plug-in library (default: $TAMBLE_PLUGIN, else the "
           "one installed or built with the package). unanswered: what a question that run() "
           "gave no answer for gets: 'error' (a HostError), 'yes' or 'no'. log: a log file to "
           "append to.")
      .def(
          "close", [](const sessionHandle& h) { closeCore(*h.shared); },
          "Closes the project, drops the images and frees the process for another session. "
          "Views taken before stay valid (they keep their memory) but belong to no image.")
      .def_property_readonly("closed", [](const sessionHandle& h) { return !h.shared->isOpen(); })
      .def_property_readonly(
          "store",
          [](const sessionHandle& h) { return std::filesystem::path(h.shared->storeFile()); },
          "The parameter store file this session reads and writes.")
      .def("__enter__", [](pyb::object self) { return self; })
      .def("__exit__", [](const sessionHandle& h, pyb::args) { closeCore(*h.shared); });
  bindImages(m, session);
  bindCommands(m, session);
  bindProjects(session);
}

void bindProjects(pyb::class_<sessionHandle>& session) {
  session
      .def(
          "open_project",
          [](const sessionHandle& h, const std::filesystem::path& path,
             std::optional<std::string> paint) {
            cli::stepArgs a;
            a.file = path.string();
            if (paint) a.words.push_back("m_type=" + *paint);
            return noticesOf(
                withSession(*h.shared, [&](cli::session& s) { cli::projectStep(s, a); }));
          },
          pyb::arg("path"), pyb::arg("paint") = pyb::none(),
          "Opens a project (.vur): its images come into the list under their fixed names "
          "(wind_off_sens, wind_on_sens, ...). paint='P' or 'T' answers the question of a "
          "single paint (else the store's last answer is taken, and a note says so). "
          "Answers the notices.")
      .def(
          "close_project",
          [](const sessionHandle& h) {
            return noticesOf(
                withSession(*h.shared, [](cli::session& s) { cli::closeProjectStep(s, {}); }));
          },
          "Closes the project (\"Close Project\").")
      .def(
          "convert",
          [](const sessionHandle& h, const pyb::kwargs& stageParameters) {
            const std::vector<std::string> words = wordsOf(stageParameters);
            std::string report;
            withSession(*h.shared, [&](cli::session& s) {
              report = cli::convertOpened(s, projectOpen(), words);
            });
            return reportOf(report);
          },
          "Converts the open project by its scenario (\"Automatic Convert...\") and saves the "
          "results beside its wind-on image. Keywords set stage parameters in the store first "
          "(m_CB01_Revise=1, m_bmr=9; a key that several stages share is named with its "
          "section: **{'GaussBS.m_diameter': 5}). Answers the stage report: seconds by stage, "
          "and 'Computational time' for the whole.")
      .def(
          "results",
          [](const sessionHandle& h) {
            std::vector<std::string> present;
            withSession(*h.shared, [&](cli::session& s) {
              for (const char* name : resultNames)
                if (s.list.find(name)) present.push_back(name);
            });
            pyb::dict out;
            for (const std::string& name : present)
              out[pyb::str(name)] = imageHandle{h.shared, name};
            return out;
          },
          "The result images there are (Irefe_Isens, Pressure, P_Pstat, Cp, T), by name.");
}

}  // namespace tamble::py
