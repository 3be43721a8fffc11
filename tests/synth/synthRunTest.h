// Synthetic runs written into a fresh folder and read back as the
// conversion reads them, and the field calculation done by hand.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "api/camera.h"
#include "api/iniFile.h"
#include "apps/synth/projectWriter.h"
#include "apps/synth/scene.h"
#include "convert/darkFlat.h"
#include "host/platform.h"
#include "host/project.h"
#include "host/projectDialogs.h"
#include "tests/support/tempFolder.h"

namespace tamble::testing {

class synthRunTest : public tempFolderTest {
 protected:
  void TearDown() override {
    clear_vur();
    tempFolderTest::TearDown();
  }

  // Makes the run of these options and writes it into the folder `name`;
  // answers the folder.
  std::string make(const std::vector<std::string>& words, const std::string& name = "run") {
    const auto run = synth::makeRun(synth::parseRunOptions(words));
    const std::string folder = path(name);
    synth::writeRun(*run, folder);
    return folder;
  }

  static std::unique_ptr<zel::image> frameOf(const std::string& folder, const std::string& name) {
    return read_image(folder + "/" + name + ".tif");
  }
  static std::unique_ptr<zel::image> truthOf(const std::string& folder, const std::string& name) {
    return read_image(folder + "/truth_" + name + ".imp");
  }

  static std::string truthValue(const std::string& folder, const std::string& section,
                                const std::string& key) {
    zel::zel_ini_file ini;
    ini.open(folder + "/truth.txt", true);
    return ini.get(section, key).value_or("");
  }

  // The sources of the run with their dark and flat frames applied, as the
  // two stages pair them.
  static std::map<std::string, std::unique_ptr<zel::image>> corrected(const std::string& folder,
                                                                       bool doublePaint) {
    std::map<std::string, std::unique_ptr<zel::image>> out;
    std::vector<std::string> sources{"wind_off_sens", "wind_on_sens"};
    if (doublePaint) sources.insert(sources.end(), {"wind_off_refe", "wind_on_refe"});
    for (const std::string& name : sources) {
      auto img = frameOf(folder, name);
      const std::size_t cut = name.rfind('_');  // wind_off | _sens
      const auto dark = frameOf(folder, name.substr(0, cut) + "_dark" + name.substr(cut));
      const auto flat = frameOf(folder, "flat" + name.substr(cut));
      EXPECT_TRUE(subtractDark(img->field(), img->bkgr(), dark->field(), dark->bkgr()));
      EXPECT_TRUE(correctFlat(img->field(), img->bkgr(), flat->field(), flat->bkgr()));
      out[name] = std::move(img);
    }
    return out;
  }
};

// The paint's law anchored at the wind-off state, as the field calculation
// forms it: everything in single precision, the numbers from the project
// file (paint coefficients, flow state and units).
struct handCalculation {
  float A0 = 0, B0 = 0, C0 = 0, A1 = 0, B1 = 0, C1 = 0, r0 = 0;

  handCalculation(const std::string& project, bool temperaturePaint) {
    read_vur_data(project, false);
    const zel::paintFeatures& paint = get_paint();
    const zel::flowFeatures& flow = get_flow();
    float c[9];
    for (int i = 0; i < 9; ++i) c[i] = static_cast<float>(paint.c[i]);
    auto pressure = [&](double v) {
      return static_cast<float>(zel::convert_pressure(static_cast<float>(v), flow.flowPressureUnit,
                                                      paint.paintUnit));
    };
    auto temperature = [&](double v) {
      return static_cast<float>(
          zel::convert_temperature(static_cast<float>(v), flow.flowTemperatureUnit, "c"));
    };
    float s0, s1, target;
    if (temperaturePaint) {
      s0 = pressure(flow.P_wind_off);
      s1 = pressure(flow.P_static) + pressure(flow.P_dynamic);
      target = temperature(flow.T_wind_off);
    } else {
      s0 = temperature(flow.T_wind_off);
      s1 = temperature(flow.T_wind_on);
      target = pressure(flow.P_wind_off);
    }
    auto poly = [&](int i, float s) { return c[i] + c[i + 1] * s + c[i + 2] * s * s; };
    A0 = poly(0, s0), B0 = poly(3, s0), C0 = poly(6, s0);
    A1 = poly(0, s1), B1 = poly(3, s1), C1 = poly(6, s1);
    const float d = B0 * B0 - 4.0f * C0 * (A0 - target);
    r0 = (std::sqrt(d) - B0) / (2.0f * C0);
  }

  // The value from a = Ioff_sens / Ioff_refe and b = Ion_sens / Ion_refe.
  float value(float a, float b) const {
    const float r = (a / b) * r0;
    return A1 + B1 * r + C1 * r * r;
  }
};

}  // namespace tamble::testing
