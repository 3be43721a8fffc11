// "Automatic Convert..." and its loops over runs and projects, on synthetic
// runs opened as a user opens them.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "api/imagesList.h"
#include "apps/synth/projectWriter.h"
#include "apps/synth/scene.h"
#include "dialogs/conversionDialogs.h"
#include "host/paramRecord.h"
#include "host/platform.h"
#include "host/project.h"
#include "plugin/automaticConvert.h"
#include "plugin/convertLists.h"
#include "plugin/resectCommands.h"
#include "plugin/saveResults.h"
#include "host/resectData.h"
#include "plugin/markingStages.h"
#include "filters/circleFilters.h"
#include "plugin/projectCommands.h"
#include "plugin/projectState.h"
#include "plugin/sourceStages.h"
#include "tests/support/projectTest.h"

namespace {

using namespace tamble;

const char* const sources[] = {names::wind_off_sens, names::wind_on_sens, names::wind_off_refe,
                               names::wind_on_refe};

bool sameImage(const zel::image& a, const zel::image& b) {
  if (a.field().count != b.field().count) return false;
  for (std::uint64_t i = 0; i < a.field().count; ++i)
    if (a.field().data[i] != b.field().data[i] || a.bkgr().data[i] != b.bkgr().data[i] ||
        a.ROI().data[i] != b.ROI().data[i])
      return false;
  return a.markers.count() == b.markers.count();
}

class AutomaticConvertRun : public tamble::testing::projectTest {
 protected:
  // A small run with the scenario that `tamble synth` writes, opened.
  void openRun(std::vector<std::string> options = {}) {
    options.insert(options.begin(), {"size=256", "seed=3"});
    const auto run = synth::makeRun(synth::parseRunOptions(options));
    synth::writeRun(*run, dir.string());
    user.ui.fileChoices = {path("run.vur")};
    ASSERT_TRUE(OpenProject(list));
    ASSERT_EQ(paintKind(), "double");
    for (const char* name : sources) before.emplace_back(*list.find(name));
    markers = static_cast<int>(run->markers.size());
  }
  bool sourcesAsBefore() const {
    for (std::size_t i = 0; i < before.size(); ++i)
      if (!sameImage(*list.find(sources[i]), before[i])) return false;
    return true;
  }
  std::vector<zel::image> before;
  int markers = 0;  // on the model
};

// The report has a line for every stage, in the order they run, whether
// the stage ran or not; the sources leave as they came and the results stay.
TEST_F(AutomaticConvertRun, ConvertsAndPutsTheSourcesBack) {
  openRun();
  ASSERT_TRUE(AutomaticConvert(list, false));
  std::vector<std::string> lines;
  const std::string& report = lastConvertReport();
  for (std::size_t at = 0; at < report.size();) {
    const std::size_t end = std::min(report.find('\n', at), report.size());
    if (end > at) lines.push_back(report.substr(at, end - at));
    at = end + 1;
  }
  ASSERT_EQ(lines.size(), static_cast<std::size_t>(stageCount) + 1);
  for (int i = 0; i < stageCount; ++i) {
    const std::string label = stageLabel(static_cast<stage>(i));
    EXPECT_EQ(lines[i].substr(0, label.size()), label);
    EXPECT_EQ(lines[i].substr(lines[i].size() - 8), " seconds");
  }
  EXPECT_EQ(lines.back().substr(0, 20), "Computational time: ");
  EXPECT_EQ(user.ui.notices.back(), report);  // shown: the project asks for it
  EXPECT_TRUE(sourcesAsBefore());
  for (const char* name : {names::Irefe_Isens, names::Pressure, names::P_Pstat, names::Cp})
    EXPECT_NE(list.find(name), nullptr) << name;
  const zel::image& cp = *list.find(names::Cp);
  // The master's markers as found, and near the true ones in number.
  EXPECT_EQ(cp.markers.count(), primaryMarkersOf(names::wind_off_sens)->count());
  EXPECT_NEAR(cp.markers.count(), markers, 2);
  EXPECT_EQ(list.current(), list.find(names::Cp));
}

// What the scenario and the cards decide, row by row.
struct scenarioRow {
  const char* what;
  std::vector<std::pair<const char*, int>> store;  // section.key values over the run's own
  bool converts;
  bool results;
  const char* notice;   // shown on the way, or null
  bool primaryMarkers;  // the sources leave with the markers found
};

void PrintTo(const scenarioRow& r, std::ostream* out) { *out << r.what; }

class ScenarioRows : public AutomaticConvertRun,
                     public ::testing::WithParamInterface<scenarioRow> {};

TEST_P(ScenarioRows, DecideTheRun) {
  const scenarioRow& row = GetParam();
  openRun();
  for (const auto& [key, value] : row.store) {
    const std::string k = key;
    write_param(k.substr(0, k.find('.')), k.substr(k.find('.') + 1), value);
  }
  EXPECT_EQ(AutomaticConvert(list, false), row.converts);
  EXPECT_EQ(list.find(names::Cp) != nullptr, row.results);
  if (row.notice) {
    EXPECT_NE(std::find(user.ui.notices.begin(), user.ui.notices.end(), row.notice),
              user.ui.notices.end());
  }
  // The fields always go back; the markers too unless "Modify" puts the
  // found ones in their place.
  for (std::size_t i = 0; i < before.size(); ++i) {
    const zel::image& now = *list.find(sources[i]);
    EXPECT_EQ(now.field().data[1000], before[i].field().data[1000]);
    const int primary = primaryMarkersOf(sources[i])->count();
    EXPECT_EQ(now.markers.count() == primary && primary > 0, row.primaryMarkers) << sources[i];
  }
}

INSTANTIATE_TEST_SUITE_P(
    AutomaticConvert, ScenarioRows,
    ::testing::Values(scenarioRow{"field calculation off: no results, the run still succeeds",
                                  {{"ConvertBin_01.m_CB01_Convert", 0}},
                                  true,
                                  false,
                                  nullptr,
                                  false},
                      scenarioRow{"Modify: the markers found stay on the sources",
                                  {{"ConvertBin_01.m_CB01_ModMark", 1}},
                                  true,
                                  true,
                                  nullptr,
                                  true},
                      scenarioRow{"a temperature card for a pressure paint",
                                  {{"CreateCards.m_t", 1}},
                                  false,
                                  false,
                                  "< T > card is of no use\n\n Recheck...",
                                  false},
                      scenarioRow{"no markers to align by: the alignment fails and ends the run",
                                  {{"ConvertBin_01.m_CB01_Automarq", 0}},
                                  false,
                                  false,
                                  nullptr,
                                  false}));

// A failed alignment leaves no result of a earlier run in doubt: the
// sources are bit for bit as they were.
TEST_F(AutomaticConvertRun, AFailedAlignmentLeavesTheSourcesAsTheyWere) {
  openRun();
  write_param("ConvertBin_01", "m_CB01_Automarq", 0);
  EXPECT_FALSE(AutomaticConvert(list, false));
  EXPECT_TRUE(sourcesAsBefore());
}

// "QPED" writes each aligned image's displacement beside the project.
TEST_F(AutomaticConvertRun, WritesTheDisplacementOfEachAlignedImage) {
  openRun();
  write_param("Alignment", "m_QPED", 1);
  ASSERT_TRUE(AutomaticConvert(list, false));
  for (const char* suffix : {"snsf", "rnsf", "rfsf"}) {
    const std::string file = path(std::string("run_displacement_") + suffix + ".txt");
    EXPECT_TRUE(std::filesystem::exists(file)) << file;
  }
  EXPECT_EQ(displacementFileOf(path("run.vur"), names::wind_off_refe),
            path("run_displacement_rfsf.txt"));
}

// Cancel at the scenario dialog is a failed run that changes nothing.
TEST_F(AutomaticConvertRun, CancelChangesNothing) {
  openRun();
  user.ui.dialogOk = {false};
  EXPECT_FALSE(AutomaticConvert(list, true));
  EXPECT_TRUE(sourcesAsBefore());
  EXPECT_EQ(list.find(names::Cp), nullptr);
}

// The stages one by one, run as an automatic conversion runs them, on a run
// whose sources were marked: what each must change.
struct stageRow {
  const char* what;
  std::function<void(zel::imagesList&)> run;
  std::function<void(const zel::imagesList&, const std::vector<zel::image>& marked)> check;
};

void PrintTo(const stageRow& r, std::ostream* out) { *out << r.what; }

class SingleStages : public AutomaticConvertRun, public ::testing::WithParamInterface<stageRow> {};

TEST_P(SingleStages, DoWhatTheySay) {
  openRun({"motion=0"});
  ASSERT_TRUE(AutomaticMarking(list, false));
  std::vector<zel::image> marked;
  for (const char* name : sources) marked.emplace_back(*list.find(name));
  ASSERT_GT(marked[0].markers.count(), 3);
  GetParam().run(list);
  GetParam().check(list, marked);
}

// The same field as `img`'s after the separable Gauss of that diameter.
bool filteredAs(const zel::image& now, zel::image before, float diameter) {
  GaussSeparable(before.field(), before.bkgr(), before.ROI(), 1, diameter);
  return sameImage(now, before);
}

const stageRow stageRows[] = {
    {"Store Primary Markers keeps what the sources hold",
     [](zel::imagesList& l) {
       clearPrimaryMarkers();
       l.find(names::wind_on_sens)->markers.items.pop_back();
       StorePrimaryMarkers(l);
     },
     [](const zel::imagesList& l, const std::vector<zel::image>&) {
       for (const char* name : sources)
         EXPECT_EQ(primaryMarkersOf(name)->count(), l.find(name)->markers.count()) << name;
     }},
    {"USE Wind-Off-Sens Markers gives the master's markers to every source",
     [](zel::imagesList& l) {
       for (const char* name : {names::wind_on_sens, names::wind_off_refe, names::wind_on_refe})
         l.find(name)->markers = {};
       UseWindOffSensMarkers(l, false);
     },
     [](const zel::imagesList& l, const std::vector<zel::image>& marked) {
       for (const char* name : sources) {
         EXPECT_EQ(l.find(name)->markers.count(), marked[0].markers.count()) << name;
         EXPECT_EQ(primaryMarkersOf(name)->count(), marked[0].markers.count()) << name;
       }
     }},
    {"Numerate Markers numbers every source as wind_off_sens",
     [](zel::imagesList& l) {
       for (marker& m : l.find(names::wind_on_refe)->markers.items) m.id += 100;
       write_param("CSNumerate", "m_box", 5);
       NumerateMarkersStage(l, false);
     },
     [](const zel::imagesList& l, const std::vector<zel::image>& marked) {
       const zel::markersArray& master = marked[0].markers;
       for (const marker& m : l.find(names::wind_on_refe)->markers.items) {
         const auto same = std::find_if(master.items.begin(), master.items.end(), [&](const marker& p) {
           return std::hypot(p.x - m.x, p.y - m.y) < 2.0;
         });
         ASSERT_NE(same, master.items.end());
         EXPECT_EQ(m.id, same->id);
       }
     }},
    {"Filtering with diameter 4 filters the sources with 3",
     [](zel::imagesList& l) {
       write_param("GaussBS", "m_diameter", 4);
       Filtering(l, false);
     },
     [](const zel::imagesList& l, const std::vector<zel::image>& marked) {
       for (std::size_t i = 0; i < marked.size(); ++i)
         EXPECT_TRUE(filteredAs(*l.find(sources[i]), marked[i], 3.001f)) << sources[i];
     }},
    {"Fill Up All Markers changes the sources only near their markers",
     [](zel::imagesList& l) { FillUpAllMarkers(l, false); },
     [](const zel::imagesList& l, const std::vector<zel::image>& marked) {
       const zel::image& now = *l.find(names::wind_off_sens);
       const zel::image& was = marked[0];
       int changed = 0;
       for (int y = 0; y < now.height(); ++y)
         for (int x = 0; x < now.width(); ++x) {
           if (now.field()(x, y) == was.field()(x, y)) continue;
           ++changed;
           double nearest = 1e9;
           for (const marker& m : was.markers.items)
             nearest = std::min(nearest, std::hypot(m.x - x, m.y - y));
           EXPECT_LT(nearest, 10.0) << x << " " << y;
         }
       EXPECT_GT(changed, 0);
     }},
};

INSTANTIATE_TEST_SUITE_P(Stages, SingleStages, ::testing::ValuesIn(stageRows));

// The output stages on the results of a conversion: the filter rounds an
// even diameter up, the thinning takes foreground from every result.
TEST_F(AutomaticConvertRun, OutputStagesWorkOnEveryResult) {
  openRun({"motion=0"});
  ASSERT_TRUE(AutomaticConvert(list, false));
  std::vector<zel::image> results;
  for (const char* name : paintResultNames("double"))
    if (const zel::image* img = list.find(name)) results.emplace_back(*img);
  ASSERT_EQ(results.size(), 4u);
  write_param("GaussFBS", "m_diameter", 4);
  EXPECT_TRUE(FilterOutputFields(list, false));
  for (const zel::image& was : results)
    EXPECT_TRUE(filteredAs(*list.find(was.fieldName()), was, 5.001f)) << was.fieldName();
  EXPECT_EQ(list.current(), list.find(names::Irefe_Isens));
  write_param("Thinning", "m_depth", 2);
  EXPECT_TRUE(ForegroundThinningOfResults(list, false));
  for (const zel::image& was : results) {
    const auto& now = list.find(was.fieldName())->bkgr();
    EXPECT_GT(std::count(now.data, now.data + now.count, true),
              std::count(was.bkgr().data, was.bkgr().data + was.bkgr().count, true));
  }
}

// Which check boxes the scenario dialog lets the user change.
TEST(ScenarioDialog, GreysWhatTheProjectCannotDoAndTheOutputsWithoutFields) {
  CConvertBin_01 r;
  r.m_CB01_Convert = 1;
  r.offered[0] = false;  // no dark frames
  EXPECT_FALSE(controlEnabled(r, "m_CB01_Dark"));
  EXPECT_TRUE(controlEnabled(r, "m_CB01_Flat"));
  for (const char* output :
       {"m_CB01_FinalFilter", "m_CB01_Resection", "m_CB01_FGThin", "m_CB01_Corr"})
    EXPECT_TRUE(controlEnabled(r, output)) << output;
  r.m_CB01_FinalFilter = r.m_CB01_Corr = 1;
  boundRecord<CConvertBin_01> record(CConvertBin_01::descriptor(), r);
  ASSERT_FALSE(assignParam(record, "m_CB01_Convert", "0"));
  record.edited(10);  // "Field Calculation" turned off clears what needs it
  EXPECT_EQ(r.m_CB01_FinalFilter + r.m_CB01_Corr, 0);
  for (const char* output :
       {"m_CB01_FinalFilter", "m_CB01_Resection", "m_CB01_FGThin", "m_CB01_Corr"})
    EXPECT_FALSE(controlEnabled(r, output)) << output;
  EXPECT_FALSE(checkRecord(record));
  r.m_CB01_Dark = 1;  // a box the project does not offer cannot be on
  EXPECT_TRUE(checkRecord(record));
}

// The two lists count their progress on 1 to 500.
TEST(ConvertNumbers, Progress) {
  const int projectRounds[][3] = {{-1, 2, 167}, {0, 2, 333}, {1, 2, 500}, {-1, 0, 500}};
  for (const auto& p : projectRounds) EXPECT_EQ(projectListProgress(p[0], p[1]), p[2]);
  const int files[][3] = {{0, 1, 500}, {0, 3, 167}, {1, 3, 333}, {2, 3, 500}};
  for (const auto& f : files) EXPECT_EQ(fileListProgress(f[0], f[1]), f[2]);
}

class ConvertList : public AutomaticConvertRun {
 protected:
  // Two copies of a run in folders of their own; the second one damaged
  // when asked (its wind-on sensor image gone).
  std::vector<std::string> twoRuns(bool damaged) {
    const auto run = synth::makeRun(synth::parseRunOptions({"size=128", "markers=0", "motion=0"}));
    std::vector<std::string> projects;
    for (const char* folder : {"a", "b"}) {
      synth::writeRun(*run, path(folder));
      projects.push_back(path(std::string(folder) + "/run.vur"));
    }
    if (damaged) std::filesystem::remove(path("b/wind_on_sens.tif"));
    return projects;
  }
};

// A project that cannot be read is told, and the list goes on when the user
// says so; without the answer it ends there.
TEST_F(ConvertList, GoesOnPastADamagedProjectWhenTheUserSaysSo) {
  for (bool goOn : {true, false}) {
    std::vector<std::string> projects = twoRuns(true);
    std::swap(projects[0], projects[1]);  // the damaged one first
    user.ui.notices.clear();
    user.ui.fileListChoices = {projects};
    user.ui.answers = {goOn};
    ASSERT_TRUE(AutomaticConvertList(list));
    const bool converted = std::filesystem::exists(path("a/wind_on_sens_Cp.imp"));
    EXPECT_EQ(converted, goOn);
    EXPECT_EQ(user.ui.notices.front().rfind(projects[0], 0), 0u);  // names the project
    EXPECT_EQ(user.ui.notices.back() == "List is Finished", goOn);
    EXPECT_EQ(list.size(), 0);
    EXPECT_FALSE(state().batchMode);
    std::filesystem::remove(path("a/wind_on_sens_Cp.imp"));
  }
}

// A list project converts its own pair and then once per entry, saving each
// round under the entry's wind-on name.
TEST_F(ConvertList, AListProjectSavesARoundPerEntry) {
  const auto run = synth::makeRun(synth::parseRunOptions({"size=128", "markers=0", "motion=0"}));
  synth::writeRun(*run, dir.string());
  read_vur_data(path("run.vur"), false, {});
  zel::vurStr record = get_vur();
  for (const char* entry : {"second", "third"})
    for (const char* paint : {"sens", "refe"}) {
      const std::string file = std::string(entry) + "_" + paint + ".tif";
      std::filesystem::copy_file(path(std::string("wind_on_") + paint + ".tif"), path(file));
      (paint == std::string("sens") ? record.wind_on_sens_list : record.wind_on_refe_list)
          .push_back(file);
    }
  write_vur_data(path("list.vur"), record, get_paint(), get_flow());
  clear_vur();
  user.ui.fileChoices = {path("list.vur")};
  ASSERT_TRUE(OpenProject(list));
  for (const char* stem : {"wind_on_sens", "second_sens", "third_sens"})
    EXPECT_TRUE(std::filesystem::exists(path(std::string(stem) + "_Cp.imp"))) << stem;
  EXPECT_FALSE(state().batchMode);
}

}  // namespace

namespace {

// The results of a conversion carried onto the run's mesh: the resected Cp
// holds the true Cp at the nodes the camera sees, and Save Results writes
// the mesh's functions beside the project, for ParaView as well.
TEST_F(AutomaticConvertRun, ResectsTheResultsOntoTheMeshAndSavesThem) {
  openRun({"motion=0", "noise=0", "size=512"});
  ASSERT_TRUE(get_field_data().complete());
  ASSERT_TRUE(AutomaticConvert(list, false));
  ASSERT_TRUE(ResectOutputHandler(list, false));
  const zel::field_data<double>& mesh = get_field_data();
  const int found = mesh.findFunction("Cp - (run)"), truth = mesh.findFunction("Cp");
  ASSERT_GE(found, 0);
  ASSERT_GE(truth, 0);
  std::vector<double> errors;
  std::size_t nodes = 0;
  for (std::size_t b = 0; b < mesh.blocks.size(); ++b)
    for (std::size_t k = 0; k < mesh.blocks[b].count(); ++k, ++nodes) {
      const double v = mesh.functions[found].values[b][k];
      if (v != zel::field_data<double>::missing)
        errors.push_back(std::fabs(v - mesh.functions[truth].values[b][k]));
    }
  ASSERT_GT(errors.size(), nodes * 9 / 10);  // the camera sees the model from above
  std::sort(errors.begin(), errors.end());
  EXPECT_LT(errors[errors.size() / 2], 0.01);  // steep rises on a coarse frame spread the rest
  EXPECT_LT(errors[errors.size() * 9 / 10], 0.1);

  SaveResultsMenu(list);
  zel::field_data<double> saved;
  readResectData(path("run_resect.dat"), saved);
  EXPECT_GE(saved.findFunction("Cp - (run)"), 0);
  EXPECT_TRUE(std::filesystem::exists(path("run_resect.vtm")));
}

// Resection data that cannot be read keep the project closed.
TEST_F(AutomaticConvertRun, DamagedResectionDataKeepTheProjectClosed) {
  const auto run = synth::makeRun(synth::parseRunOptions({"size=256"}));
  synth::writeRun(*run, dir.string());
  std::ofstream(path("run_resect.x"), std::ios::binary) << "not a grid";
  user.ui.fileChoices = {path("run.vur")};
  ASSERT_TRUE(OpenProject(list));
  EXPECT_EQ(user.ui.notices.back(), "Error reading resect Data!");
  EXPECT_FALSE(state().projectOpen);
  EXPECT_TRUE(get_field_data().meshEmpty());
}

}  // namespace
