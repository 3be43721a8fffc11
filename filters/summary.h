// "Summary...": the figures of an image for judging its content, in three
// modes, and the rows that show them. Nothing of the image changes.
//
// "Whole" figures take every pixel, "Active" ones the valid pixels (bkgr
// clear, ROI set). Sums, means and deviations are in double precision, each
// row of the image summed on its own and the rows added in order, so the
// figures do not depend on the number of threads.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "filters/circleFilters.h"

namespace tamble {

// The modes of CStatStart.
enum summaryMode { summaryEasy = 0, summaryAdvanced = 1, summaryWithoutTrend = 2 };

// Extremes with the first position (in row order) that holds them, the sum,
// the mean and the standard deviation (about the mean, over the count) of a
// set of pixels; all 0 for an empty set.
struct pixelFigures {
  long long count = 0;
  double min = 0, max = 0;
  int minX = 0, minY = 0, maxX = 0, maxY = 0;
  double sum = 0, mean = 0, deviation = 0;
};

// The least-squares plane Z = Ao + Ax*X + Ay*Y (X the column, Y the row), the
// root mean square distance of the pixels from it, and whether the
// refinement ended because the plane no longer moved ("Exit By Precision")
// or at its step limit, or on a set that fixes no plane ("Exit By
// StepNumber").
struct planeFigures {
  double a0 = 0, ax = 0, ay = 0;
  double dispersion = 0;
  bool byPrecision = true;
};

struct summaryRecord {
  int mode = summaryEasy;
  int width = 0, height = 0;
  // Block A.
  double integral = 0;        // the sum of all pixels
  double fullScale = 0;       // Imax_CCD: 255, 1023, 4095, 16383 or 65535 above the maximum
  double saturatedRatio = 0;  // 100 integral/(nx ny Imax_CCD)
  pixelFigures whole, active;
  double activeRatio = 0;  // 100 active/whole
  double wholeGain = 0, wholePdfGain = 0, activeGain = 0, activePdfGain = 0;
  // Block B, from the 8-bit view (256 levels over the whole image's range).
  long long zeroCount = 0;
  double activePercent = 0, zeroPercent = 0;
  double wholeEntropy = 0, wholeEnergy = 0, activeEntropy = 0, activeEnergy = 0;
  double entropyThreshold = 0, entropyThresholdMax = 0;
  double momentThreshold = 0, momentThresholdMax = 0;
  double pdfMean = 0, pdfRms = 0, asymmetry = 0, excess = 0;
  double backgroundMean = 0, segmentMean = 0, foregroundMean = 0, squaresRatio = 0;
  // Block C: [whole, active][3x3, 5x5, 7x7].
  double overfallMax[2][3] = {}, overfallMean[2][3] = {};
  double rowDeviationMin = 0, rowDeviationMax = 0;
  double columnDeviationMin = 0, columnDeviationMax = 0;
  double haralick = 0;
  planeFigures wholePlane, activePlane;
  // Blocks D and E: the field less its plane (its extremes are taken in
  // mode 2 only, where Block D shows them).
  pixelFigures wholeFlat, activeFlat;
  // Filled only where the active mean exceeds 1e-10.
  std::optional<double> activeRelative, activeFlatRelative;
};

// Fills the record's figures for its mode: 0 Block E, 1 Blocks A, B and C,
// 2 Blocks A and D. The width and height are the field's.
void ImageSummary(const filterField& field, const filterMask& bkgr, const filterMask& ROI,
                  summaryRecord& record);

// The rows of the record's mode, in order.
std::vector<std::string> summaryLines(const summaryRecord& record);

}  // namespace tamble
