// The steps the program runs, each with the form of a subcommand: defined once
// for the command line and for every line of a script.
#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace tamble::cli {

class session;
struct runAnswers;

// The arguments of any one step; each step reads the members it defines.
struct stepArgs {
  std::string name;
  std::string command;
  std::string layer;
  std::string file;
  int width = 0;
  int height = 0;
  double x = 0.0;
  double y = 0.0;
  std::vector<std::string> words;  // NAME=FILE or key=value words
  std::vector<std::string> images;
  std::vector<std::string> files;
  std::vector<std::string> answers;
  int jobs = 1;        // convert: projects at once
  bool slurm = false;  // convert: the list as a Slurm job array (campaignSubmit.h)
  bool task = false;   // convert: one project as a campaign's task (campaignTask.h)
  std::string partition;
  int maxParallel = 0;
  bool dryRun = false;
  bool onlyMissing = false;
  std::string tamble;    // convert --slurm: the program the tasks run
  std::string quantity;  // units: length, pressure or temperature
  double value = 0.0;
  std::string from;
  std::string to;
  std::string imageMarkers;  // calibrate: the image's markers, the model's, the file written
  std::string modelMarkers;
  std::string output;
  int port = 0;      // serve
  std::string bind;  // serve: the address, 127.0.0.1 unless given
};

// Adds every step as a subcommand of `app`, its arguments bound to `args`.
void addSteps(CLI::App& app, stepArgs& args);
// Runs the step that `app` parsed; false when none of them was.
bool runParsedStep(const CLI::App& app, const stepArgs& args, session& s);

// The steps themselves, in imageSteps.cpp, commandSteps.cpp and markerSteps.cpp.
void newStep(session& s, const stepArgs& a);
void openStep(session& s, const stepArgs& a);
void selectStep(session& s, const stepArgs& a);
void imagesStep(session& s, const stepArgs& a);
void saveStep(session& s, const stepArgs& a);
void saveMaskStep(session& s, const stepArgs& a);
void loadMaskStep(session& s, const stepArgs& a);
void renderStep(session& s, const stepArgs& a);
void valueStep(session& s, const stepArgs& a);
void markStep(session& s, const stepArgs& a);
void commandsStep(session& s, const stepArgs& a);
void describeStep(session& s, const stepArgs& a);
void referenceStep(session& s, const stepArgs& a);
void runStep(session& s, const stepArgs& a);
void undoStep(session& s, const stepArgs& a);
void loadMarkersStep(session& s, const stepArgs& a);
void saveMarkersStep(session& s, const stepArgs& a);
void markersStep(session& s, const stepArgs& a);
void cameraShowStep(session& s, const stepArgs& a);
void cameraSaveStep(session& s, const stepArgs& a);
void unitsStep(session& s, const stepArgs& a);
void convertStep(session& s, const stepArgs& a);
void compareStep(session& s, const stepArgs& a);
void calibrateStep(session& s, const stepArgs& a);
void resectStep(session& s, const stepArgs& a);
void meshCompareStep(session& s, const stepArgs& a);
void campaignStatusStep(session& s, const stepArgs& a);
void projectStep(session& s, const stepArgs& a);
void closeProjectStep(session& s, const stepArgs& a);
// The model's mesh data set (meshSteps.cpp).
void meshStep(session& s, const stepArgs& a);
void saveMeshStep(session& s, const stepArgs& a);
// The synthetic run (synthStep.cpp), with the arguments it defines.
void defineSynth(CLI::App& app, stepArgs& a);
void synthStep(session& s, const stepArgs& a);
// The browser workbench (apps/workbench/serveStep.cpp).
void serveStep(session& s, const stepArgs& a);

// The answers a step's words give to a command's dialogs and questions.
runAnswers answersOf(const stepArgs& a);

// "NAME=VALUE" split at its first '='; a usage error without one.
std::pair<std::string, std::string> splitPair(const std::string& word, const char* form);

}  // namespace tamble::cli
