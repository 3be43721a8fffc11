#include "plugin/enhancementCommands.h"

#include <functional>

#include "api/imagesList.h"
#include "dialogs/enhancementDialogs.h"
#include "filters/enhancement.h"
#include "plugin/availability.h"
#include "plugin/catalogue.h"
#include "plugin/frame.h"

namespace tamble {
namespace {

// The standard form with the remembered record T.
template <class T>
bool runWith(zel::imagesList& list, std::function<void(zel::image&, const T&)> routine) {
  T dialog = session().remembered<T>();
  boundRecord<T> record(T::descriptor(), dialog);
  operation op;
  op.dialog = &record;
  op.remember = [&dialog] { session().remembered<T>() = dialog; };
  op.routine = [&dialog, &routine](zel::image& img) { routine(img, dialog); };
  return runStandard(list, op);
}

}  // namespace

// The command leaves the values as they are (autoMinMax 0).
bool UnSharpMaskCommand(zel::imagesList& list) {
  return runWith<CUnSharp>(list, [](zel::image& img, const CUnSharp& d) {
    UnSharpMask(img.field(), img.bkgr(), img.ROI(), d.m_nl, d.m_a, d.m_b, d.m_id1 != 0, 0,
                d.m_overfall, d.m_fade);
  });
}

bool SpaceVariantCommand(zel::imagesList& list) {
  return runWith<CDIP1>(list, [](zel::image& img, const CDIP1& d) {
    DIP1Enhancement(img.field(), img.bkgr(), img.ROI(), d.kind, d.m_nll, d.m_sm ? d.m_nlg : 0,
                    d.m_scale, d.m_fade);
  });
}

bool NonlinearContrastCommand(zel::imagesList& list) {
  return runWith<CContrast>(list, [](zel::image& img, const CContrast& d) {
    NonlinearContrast(img.field(), img.bkgr(), img.ROI(), d.m_contrast);
  });
}

bool WeightedHybridMapCommand(zel::imagesList& list) {
  return runWith<CHPEQ>(list, [](zel::image& img, const CHPEQ& d) {
    WeightedHybridMap(img.field(), img.bkgr(), img.ROI(), d.ihist, d.m_fade);
  });
}

bool SteepThinningCommand(zel::imagesList& list) {
  return runWith<Csteep>(list, [](zel::image& img, const Csteep& d) {
    SteepThinning(img.field(), img.bkgr(), img.ROI(), d.m_nl, d.m_thresh, d.m_power);
  });
}

namespace {

const commandRegistration commands[] = {
    commandRegistration(
        {"thinning-of-steep-regions", "Transform", "Thinning of Steep Regions...",
         "Performs Thinning of Steep Regions (Borders) E.G. Due to High Degree Blur",
         "transform.chm::/html/transform_steepthinning.htm", available::image_is_present,
         {rememberedRecord<Csteep>}, SteepThinningCommand}),
    commandRegistration(
        {"unsharp-mask", "Transform", "UnSharp Mask...",
         "Performs Sharpening of Image Regions Using Limited UnSharp Mask Algorithm",
         "transform.chm::/html/transform_unsharpmask.htm", available::image_is_present,
         {rememberedRecord<CUnSharp>}, UnSharpMaskCommand}),
    commandRegistration(
        {"space-variant-enhancement", "Transform", "Space-Variant Enhancement...",
         "Performs Space-Variant Image Enhancement By Simple Linear Combination Filtering",
         "transform.chm::/html/transform_dip1.htm", available::image_is_present,
         {rememberedRecord<CDIP1>}, SpaceVariantCommand}),
    commandRegistration({"nonlinear-contrast", "Transform", "Nonlinear Contrast...",
                         "Changes Nonlinear Image Contrast",
                         "transform.chm::/html/transform_nlcontrast.htm",
                         available::image_is_present, {rememberedRecord<CContrast>},
                         NonlinearContrastCommand}),
    commandRegistration({"weighted-hybrid-map", "Transform", "Weighted Hybrid Map...",
                         "Performs Image Histogram/Plateau Equalization of Image",
                         "transform.chm::/html/transform_whm.htm", available::image_is_present,
                         {rememberedRecord<CHPEQ>}, WeightedHybridMapCommand}),
};

}  // namespace

}  // namespace tamble
