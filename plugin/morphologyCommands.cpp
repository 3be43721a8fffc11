#include "plugin/morphologyCommands.h"

#include <algorithm>
#include <functional>

#include "api/imagesList.h"
#include "dialogs/morphologyDialogs.h"
#include "filters/morphology.h"
#include "plugin/availability.h"
#include "plugin/catalogue.h"
#include "plugin/frame.h"

namespace tamble {
namespace {

// The standard form with the remembered record T; `routine` gets the image
// and the values of the dialog's OK.
template <class T>
bool runWith(zel::imagesList& list, std::function<void(zel::image&, const T&)> routine,
             std::function<const char*(const zel::image&)> guard = {}) {
  T dialog = session().remembered<T>();
  boundRecord<T> record(T::descriptor(), dialog);
  operation op;
  op.guard = std::move(guard);
  op.dialog = &record;
  op.remember = [&dialog] { session().remembered<T>() = dialog; };
  op.routine = [&dialog, &routine](zel::image& img) { routine(img, dialog); };
  return runStandard(list, op);
}

// A wipe of the background (or ROI) mask, inverted first for the "not" forms.
bool wipe(zel::imagesList& list, bool background, int polarity) {
  auto guard = [background](const zel::image& img) -> const char* {
    if (background) {
      const filterMask& b = img.bkgr();
      return std::find(b.data, b.data + b.count, true) != b.data + b.count ? nullptr
                                                                            : noBackgroundToWipe;
    }
    const filterMask& r = img.ROI();
    return std::find(r.data, r.data + r.count, false) != r.data + r.count ? nullptr : noROIToWipe;
  };
  return runWith<CFF>(
      list,
      [background, polarity](zel::image& img, const CFF& d) {
        ClosedRegionsWipe(background ? img.bkgr() : img.ROI(), polarity, d.m_iterations,
                          d.m_diameter);
      },
      guard);
}

}  // namespace

bool Filters3x3SetCommand(zel::imagesList& list) {
  return runWith<Cs3x3iter>(list, [](zel::image& img, const Cs3x3iter& d) {
    S3X3ITER(img.field(), img.bkgr(), img.ROI(), d.m_iter, d.m_kind);
  });
}

bool Gradients3x3SetCommand(zel::imagesList& list) {
  return runWith<Cs3x3grad>(list, [](zel::image& img, const Cs3x3grad& d) {
    Gradients3x3(img.field(), img.bkgr(), img.ROI(), d.m_kind);
  });
}

bool MorphologicalFiltersCommand(zel::imagesList& list) {
  return runWith<Cmorph>(list, [](zel::image& img, const Cmorph& d) {
    MorphFilter(img.field(), img.bkgr(), img.ROI(), d.m_rl, d.m_kind);
  });
}

bool SpeckleCellCommand(zel::imagesList& list) {
  return runWith<CSpeckle>(list, [](zel::image& img, const CSpeckle& d) {
    SpeckleCell(img.field(), img.bkgr(), img.ROI(), d.m_rl, d.m_iter);
  });
}

bool SpeckleCrimminsCommand(zel::imagesList& list) {
  return runWith<CCrimmins>(list, [](zel::image& img, const CCrimmins& d) {
    SpeckleCrimmins(img.field(), img.bkgr(), img.ROI(), d.m_iter);
  });
}

bool WipeBGCommand(zel::imagesList& list) { return wipe(list, true, 1); }
bool WipeNotBGCommand(zel::imagesList& list) { return wipe(list, true, 0); }
bool WipeROICommand(zel::imagesList& list) { return wipe(list, false, 1); }
bool WipeNotROICommand(zel::imagesList& list) { return wipe(list, false, 0); }

namespace {

constexpr const char* wipeTooltip =
    "Fills Image Boolean (BG/ROI) Closed (small) Regions with TRUE/FALSE for Binary Noise "
    "Elimination";
constexpr const char* wipeHelp = "BackGround.chm::/html/BackGround_spreadbg.htm";

const commandRegistration commands[] = {
    commandRegistration({"3x3-filters-set", "Transform", "3x3 Filters Set...",
                         "Performs Filtering in 3x3 Window According to the Filter Choosen",
                         "transform.chm::/html/transform_3x3filters.htm",
                         available::image_is_present, {rememberedRecord<Cs3x3iter>},
                         Filters3x3SetCommand}),
    commandRegistration({"3x3-gradients-set", "Transform", "3x3 Gradients Set...",
                         "Performs Building of Gradients According to the Gradient kind Choosen",
                         "transform.chm::/html/transform_3x3gradients.htm",
                         available::image_is_present, {rememberedRecord<Cs3x3grad>},
                         Gradients3x3SetCommand}),
    commandRegistration(
        {"morphological-filters-set", "Transform", "Morphological Filters Set...",
         "Performs Morphological Filtering According to the Filter and its Parameters Choosen",
         "transform.chm::/html/transform_morphologic.htm", available::image_is_present,
         {rememberedRecord<Cmorph>}, MorphologicalFiltersCommand}),
    commandRegistration({"speckle-cell-removing", "Transform", "Speckle Cell Removing...",
                         "Performs Filtering According to Image Identified Speckle-Like Structure",
                         "transform.chm::/html/transform_speckle.htm",
                         available::image_is_present, {rememberedRecord<CSpeckle>},
                         SpeckleCellCommand}),
    commandRegistration(
        {"speckle-removing-crimmins", "Transform", "Speckle Removing (Crimmins)...",
         "Performs Filtering According to Image Identified Speckle-Like Structure by Crimmins",
         "transform.chm::/html/transform_crimmins.htm", available::image_is_present,
         {rememberedRecord<CCrimmins>}, SpeckleCrimminsCommand}),
    commandRegistration({"closed-regions-wipe-bg", "Tools", "Closed Regions Wipe$ BG...",
                         wipeTooltip, wipeHelp, available::image_is_present,
                         {rememberedRecord<CFF>}, WipeBGCommand}),
    commandRegistration({"closed-regions-wipe-notbg", "Tools", "Closed Regions Wipe$ notBG...",
                         wipeTooltip, wipeHelp, available::image_is_present,
                         {rememberedRecord<CFF>}, WipeNotBGCommand}),
    commandRegistration({"closed-regions-wipe-roi", "Tools", "Closed Regions Wipe$ ROI...",
                         wipeTooltip, wipeHelp, available::image_is_present,
                         {rememberedRecord<CFF>}, WipeROICommand}),
    commandRegistration({"closed-regions-wipe-notroi", "Tools", "Closed Regions Wipe$ notROI...",
                         wipeTooltip, wipeHelp, available::image_is_present,
                         {rememberedRecord<CFF>}, WipeNotROICommand}),
};

}  // namespace

}  // namespace tamble
