// tamble resect: one image carried onto the mesh the session holds, with the
// "Resection Methods " dialog answered by the step's key=value words.
#include <cstdio>

#include "api/image.h"
#include "apps/tamble/failure.h"
#include "apps/tamble/session.h"
#include "apps/tamble/steps.h"
#include "host/fieldData.h"
#include "host/resectionService.h"

namespace tamble::cli {

void resectStep(session& s, const stepArgs& a) {
  zel::image& img = s.image(a.name);
  s.plugin();
  const resectionService resect = registeredResection();
  if (!resect) throw stepError("the plug-in offers no resection");
  if (get_field_data().meshEmpty()) throw stepError("no mesh is loaded (see 'tamble mesh')");
  s.ui.startRun(answersOf(a));
  const imageResection r = resect(img);
  s.ui.finishRun("Resect");
  if (!r.done) throw stepError("'" + img.fieldName() + "' was not resected");
  std::printf("resected %s onto the mesh as \"%s\": %zu of %zu nodes seen (%zu off the image, "
              "%zu hidden, %zu facing away, %zu on background)\n",
              img.fieldName().c_str(), r.function.c_str(), r.seen, r.nodes, r.outside, r.hidden,
              r.facingAway, r.unusable);
}

}  // namespace tamble::cli
