#include "apps/tamble/steps.h"

#include <CLI/CLI.hpp>

#include "apps/tamble/failure.h"
#include "apps/tamble/session.h"

namespace tamble::cli {
namespace {

using defineFn = void (*)(CLI::App&, stepArgs&);
using runFn = void (*)(session&, const stepArgs&);

struct stepDef {
  const char* name;
  const char* help;
  defineFn define;
  runFn run;
};

CLI::Option* imageName(CLI::App& app, stepArgs& a) {
  return app.add_option("name", a.name, "image name")->required();
}

void defineNew(CLI::App& app, stepArgs& a) {
  imageName(app, a);
  app.add_option("width", a.width, "pixels across")->required()->check(CLI::Range(0, 65536));
  app.add_option("height", a.height, "pixels down")->required()->check(CLI::Range(0, 65536));
  app.add_option("content", a.words, "fill=V or pattern=ramp|gauss|checker");
}

void defineOpen(CLI::App& app, stepArgs& a) {
  app.add_option("files", a.words, "NAME=FILE or FILE")->required();
}

void defineNameOnly(CLI::App& app, stepArgs& a) { imageName(app, a); }

void defineNothing(CLI::App&, stepArgs&) {}

void defineDescribe(CLI::App& app, stepArgs& a) {
  app.add_option("command", a.command, "label or short name")->required();
}

void defineRun(CLI::App& app, stepArgs& a) {
  defineDescribe(app, a);
  app.add_option("params", a.words, "key=value for the parameter dialog");
  app.add_option("--image", a.images, "answers an image choice (repeat in order)")
      ->allow_extra_args(false);
  app.add_option("--file", a.files, "answers a file choice (repeat in order)")
      ->allow_extra_args(false);
  app.add_option("--answer", a.answers, "answers a yes/no question (repeat in order)")
      ->allow_extra_args(false)
      ->check(CLI::IsMember({"yes", "no"}));
}

void defineSave(CLI::App& app, stepArgs& a) {
  app.add_option("targets", a.words, "NAME=FILE (.imp or .tif)")->required();
}

void defineMask(CLI::App& app, stepArgs& a) {
  imageName(app, a);
  app.add_option("layer", a.layer, "bkgr or ROI")
      ->required()
      ->transform(CLI::IsMember({"bkgr", "ROI"}, CLI::ignore_case));
  app.add_option("file", a.file, ".imp mask file")->required();
}

void defineRender(CLI::App& app, stepArgs& a) {
  app.add_option("target", a.file, "NAME=FILE.png")->required();
  app.add_option("options", a.words, "colormap=, low=, high=, bar=on|off, markers=on|off");
}

void definePixel(CLI::App& app, stepArgs& a) {
  imageName(app, a);
  app.add_option("x", a.x, "column")->required();
  app.add_option("y", a.y, "row")->required();
}

void defineMarkerFile(CLI::App& app, stepArgs& a) {
  imageName(app, a);
  app.add_option("file", a.file, ".mrk, .mpt, .inm or .apm (.mrk or .mpt to write)")->required();
}

void defineCameraShow(CLI::App& app, stepArgs& a) {
  app.add_option("file", a.file, ".cam file")->required();
}

void defineCameraSave(CLI::App& app, stepArgs& a) {
  defineCameraShow(app, a);
  app.add_option("values", a.words, "key=value for the camera keys");
}

void defineProject(CLI::App& app, stepArgs& a) {
  app.add_option("file", a.file, ".vur project file")->required();
  app.add_option("params", a.words, "key=value for its questions (m_type=P or T: single paint)");
}

void defineUnits(CLI::App& app, stepArgs& a) {
  app.add_option("quantity", a.quantity, "length, pressure or temperature")
      ->required()
      ->check(CLI::IsMember({"length", "pressure", "temperature"}));
  app.add_option("value", a.value, "the number")->required();
  app.add_option("from", a.from, "its unit")->required();
  app.add_option("to", a.to, "the unit wanted")->required();
}

void defineCompare(CLI::App& app, stepArgs& a) {
  app.add_option("found", a.name, "the image judged")->required();
  app.add_option("truth", a.command, "the true image")->required();
  app.add_option("options", a.words, "edge=N, away=R, diff=NAME");
}

// A list run as a campaign on a Slurm cluster (docs/campaigns.md).
void defineCampaign(CLI::App& app, stepArgs& a, CLI::Option* jobs) {
  CLI::Option* slurm =
      app.add_flag("--slurm", a.slurm, "submit the list to Slurm as a job array, one task each")
          ->needs("--list")
          ->excludes(jobs);
  const auto slurmOnly = [&](CLI::Option* o) { o->needs(slurm); };
  slurmOnly(app.add_option("--partition", a.partition, "the Slurm partition")->type_name("P"));
  slurmOnly(app.add_option("--max-parallel", a.maxParallel, "tasks running at once (%N)")
                ->check(CLI::Range(1, 100000)));
  slurmOnly(app.add_flag("--dry-run", a.dryRun, "print the batch script, submit nothing"));
  slurmOnly(app.add_flag("--only-missing", a.onlyMissing, "only the projects not done"));
  slurmOnly(app.add_option("--tamble", a.tamble, "the program the tasks run (default: this one)")
                ->type_name("PATH"));
  app.add_flag("--task", a.task, "convert one project as a campaign's task")
      ->excludes(slurm)
      ->excludes(jobs)
      ->excludes("--list");
}

void defineConvert(CLI::App& app, stepArgs& a) {
  app.add_option("projects", a.words, "project files (.vur) and key=value stage parameters");
  app.add_option("--list", a.file, "a file naming one project per line")->type_name("FILE");
  CLI::Option* jobs =
      app.add_option("--jobs", a.jobs, "projects converted at once, each in its own process")
          ->check(CLI::Range(1, 256));
  defineCampaign(app, a, jobs);
}

void defineStatusList(CLI::App& app, stepArgs& a) {
  app.add_option("list", a.file, "the campaign's list of projects")->required();
}

void defineCalibrate(CLI::App& app, stepArgs& a) {
  app.add_option("image", a.imageMarkers, "the image points (.mrk, .mpt, .inm or .apm)")
      ->required();
  app.add_option("model", a.modelMarkers, "the same points on the model (.mrk or .mpt)")
      ->required();
  app.add_option("camera", a.file, "the camera file (.cam)")->required();
  app.add_option("output", a.output, "the improved camera file")->required();
  app.add_option("options", a.words, "method=1|2, solver=on|off, centre=on|off");
}

void defineResect(CLI::App& app, stepArgs& a) {
  imageName(app, a);
  app.add_option("params", a.words, "key=value for the \"Resection Methods \" dialog");
  app.add_option("--answer", a.answers, "answers a yes/no question (repeat in order)")
      ->allow_extra_args(false)
      ->check(CLI::IsMember({"yes", "no"}));
}

void defineMesh(CLI::App& app, stepArgs& a) {
  app.add_option("file", a.file, "resection data file (.dat) or PLOT3D grid")->required();
  app.add_option("options", a.words, "for a grid: unit=mm|sm|dm|m|km, form=WORDS");
}

void defineMeshCompare(CLI::App& app, stepArgs& a) {
  app.add_option("found", a.name, "the function found")->required();
  app.add_option("truth", a.command, "the true function")->required();
}

void defineSaveMesh(CLI::App& app, stepArgs& a) {
  app.add_option("stem", a.file, "folder and file stem: STEM.f, STEM.nam, STEM.vtm, STEM_N.vts")
      ->required();
}

void defineServe(CLI::App& app, stepArgs& a) {
  app.add_option("folder", a.file, "the folder it may read and write (default: this one)");
  app.add_option("--port", a.port, "the port (default: a free one)")->check(CLI::Range(0, 65535));
  app.add_option("--bind", a.bind, "the address to listen on (default 127.0.0.1)");
}

const stepDef steps[] = {
    {"new", "make a test image", defineNew, newStep},
    {"open", "read images", defineOpen, openStep},
    {"select", "make an image the current one", defineNameOnly, selectStep},
    {"images", "list the images", defineNothing, imagesStep},
    {"commands", "list the plug-in's commands", defineNothing, commandsStep},
    {"describe", "show a command and its parameters", defineDescribe, describeStep},
    {"reference", "print the command reference (docs/command-reference.md)", defineNothing,
     referenceStep},
    {"run", "run a command", defineRun, runStep},
    {"undo", "undo the last recorded step", defineNothing, undoStep},
    {"save", "write images", defineSave, saveStep},
    {"save-mask", "write an image's bkgr or ROI", defineMask, saveMaskStep},
    {"load-mask", "read an image's bkgr or ROI", defineMask, loadMaskStep},
    {"render", "draw an image to PNG", defineRender, renderStep},
    {"value", "print an image's layers at a pixel", definePixel, valueStep},
    {"mark", "add a marker to an image", definePixel, markStep},
    {"markers", "list an image's markers", defineNameOnly, markersStep},
    {"load-markers", "read an image's markers from a file", defineMarkerFile, loadMarkersStep},
    {"save-markers", "write an image's markers to a file", defineMarkerFile, saveMarkersStep},
    {"camera-show", "print a camera file's keys", defineCameraShow, cameraShowStep},
    {"camera-save", "write a camera file", defineCameraSave, cameraSaveStep},
    {"project", "open a project (\"Open Project...\")", defineProject, projectStep},
    {"close-project", "close the project (\"Close Project\")", defineNothing, closeProjectStep},
    {"units", "convert a length, pressure or temperature", defineUnits, unitsStep},
    {"convert", "convert projects: open, run the scenario, save the results", defineConvert,
     convertStep},
    {"campaign-status", "print which projects of a campaign are done, failed or not run",
     defineStatusList, campaignStatusStep},
    {"compare", "print how far an image lies from a true one", defineCompare, compareStep},
    {"calibrate", "a camera's projection from image and model markers; the improved camera file",
     defineCalibrate, calibrateStep},
    {"resect", "carry an image onto the mesh as a new function", defineResect, resectStep},
    {"mesh", "load the model's mesh data set and show what it holds", defineMesh, meshStep},
    {"save-mesh", "write the mesh's functions (PLOT3D and VTK)", defineSaveMesh, saveMeshStep},
    {"mesh-compare", "print how far a function of the mesh lies from a true one",
     defineMeshCompare, meshCompareStep},
    {"synth", "write a synthetic wind-tunnel run with known truth", defineSynth, synthStep},
    {"serve", "the browser workbench on this machine (docs/workbench.md)", defineServe, serveStep},
};

}  // namespace

void addSteps(CLI::App& app, stepArgs& args) {
  for (const stepDef& step : steps) step.define(*app.add_subcommand(step.name, step.help), args);
}

bool runParsedStep(const CLI::App& app, const stepArgs& args, session& s) {
  // The step's notices are all out before its error or the next step.
  struct noticesOut {
    cliUi& ui;
    ~noticesOut() { ui.flushNotices(); }
  } out{s.ui};
  for (const stepDef& step : steps)
    if (app.got_subcommand(step.name)) {
      step.run(s, args);
      return true;
    }
  return false;
}

std::pair<std::string, std::string> splitPair(const std::string& word, const char* form) {
  const std::size_t equals = word.find('=');
  if (equals == std::string::npos || equals == 0)
    throw usageError("'" + word + "' is not of the form " + form);
  return {word.substr(0, equals), word.substr(equals + 1)};
}

}  // namespace tamble::cli
