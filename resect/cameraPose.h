// The camera that a coefficient record describes: focal lengths, principal
// point, rotation and position, from the 3 by 4 projection the two rational
// functions make (their denominators, which the solver may let drift apart,
// averaged).
#pragma once

#include "api/camera.h"
#include "resect/resectCoefficients.h"

namespace tamble {

struct cameraPose {
  double fx = 0.0, fy = 0.0;  // focal lengths along the sensor's axes, camera length unit
  double px = 0.0, py = 0.0;  // principal point less the optical centre, camera length unit
  double skew = 0.0;
  double axes[3][3] = {};   // rows: the camera's x, y and z axes in model coordinates
  double position[3] = {};  // the camera's centre in model coordinates
};

// False when the record is not a camera (a denominator of zero, the three
// rows of the projection dependent). The rotation is proper (determinant +1)
// with positive focal lengths; a mirrored picture shows as points behind.
bool poseOf(const resectCoefficients& record, cameraPose& out);

// The camera file after a calibration: the focal length the projection
// shows (the mean of fx and fy) and the lens's correction terms in a2, a4
// (unchanged when the projection's lens is the camera's own); every other
// key as in `start`. `start` itself when the record is not a
// camera.
zel::cameraFeatures improvedCamera(const zel::cameraFeatures& start,
                                   const cameraProjection& projection);

}  // namespace tamble
