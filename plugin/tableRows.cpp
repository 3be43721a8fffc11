// The menus in their order: per group, commands by their stable names and
// separators. A name whose command is not built yet is not offered; a
// separator is shown only where it stands between offered commands (or
// closes a group that offers any).
#include "plugin/commandTable.h"

namespace tamble {

const std::vector<menuGroup>& menuOrder() {
  static const std::vector<menuGroup> order = {
      {"MC",
       {sep, "image-to-m", sep, "x-to-m", "m-to-x", "x-swap-m", sep, "m-plus-x", "m-minus-x",
        "m-times-x", "m-by-x", sep, "x-minus-m", "x-by-m", "x-minus-m-squared"}},
      {"Edit",
       {"edit/undo", sep, "arithmetic", "image-arithmetic", "cut-off-intensities",
        "conservative-invert", sep, "flip-rotate", "scale-rotate-shift", "scale-rotate-relative",
        "image-resize", "image-trim-lengthen", sep, "zoom-roi", "flood-roi", "fill-up",
        "fill-up-background", sep, "1d-deblur", sep, "wiener-filter", "3d-filter",
        "gauss-filter-fast", "median-filter", "median-fast-filter", "directional-gauss-filter",
        "directional-median-filter", "ranged-filters", sep, "filter-threshold", sep}},
      {"Transform",
       {sep, "whiten-softfocus-transform", "mcclellan-transform", sep, "2d-spectrum",
        "2d-polar-log-spectrum", "phase-only-data-retrieve", "cross-correlation-phase-only", sep,
        "roi-maximum-subpixel-coordinates", "shift-only-image-alignment",
        "mellin-image-alignment", sep, "thinning-of-steep-regions", "unsharp-mask",
        "space-variant-enhancement", sep, "deinterlace", sep, "nonlinear-contrast",
        "weighted-hybrid-map", sep, "speckle-cell-removing", "speckle-removing-crimmins", sep,
        "3x3-filters-set", "3x3-gradients-set", "morphological-filters-set"}},
      {"Markers",
       {sep, "auto-mark", "auto-mark-by-reference", sep, "revise-markers",
        "revise-markers-centers", sep, "markers-statistics", sep, "fill-up-markers", sep,
        "draw-artificial-markers", sep, "triangulation-draw"}},
      {"Tools",
       {sep, "summary", sep, "dark-field-subtraction", "tools/flat-field-correction",
        "optical-distortion-correction", sep, "open-background", "save-background-as",
        "background", "reset-background", "invert-background", "background-to-roi",
        "roi-to-background", sep, "tools/foreground-thinning", "foreground-expansion", sep,
        "closed-regions-wipe-bg", "closed-regions-wipe-notbg", "closed-regions-wipe-roi",
        "closed-regions-wipe-notroi", sep, "image-alignment", sep, "divide-image-by-image", sep,
        "pressure-ports"}},
      {"B Convert",
       {"open-project", sep, "b-convert/undo", sep, "roi-copy", "roi-paste", "roi-align-and-copy",
        sep, "markers-copy", "markers-paste", "store-primary-markers", sep,
        "use-wind-off-sens-markers", sep, "set-confirm-references-single-paint", sep,
        "dark-frame-subtraction", "b-convert/flat-field-correction", "automatic-marking",
        "markers-precise-positioning", "numerate-markers", "fill-up-all-markers", "filtering",
        "background-work", "distortion-correction", "resect-images", "alignment-of-images",
        "field-calculation", "b-convert/foreground-thinning", "filter-output-fields",
        "correct-output-fields-in-situ", "resect-output-fields", "save-results", "close-project",
        sep, "automatic-convert", "automatic-convert-list"}},
  };
  return order;
}

}  // namespace tamble
