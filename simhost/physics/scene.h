// What the simulated detectors look at: the X-ray transmission of a test object in
// front of a flat field.
//
// The object has a line-pair target (bar groups from 32 down to 2 pixels per period),
// a round plastic phantom with three inserts (an air hole, a bone-like rod and a
// contrast-filled rod) and a row of material squares (plastic, aluminium, copper, tin).
// The beam falls off slightly towards the corners. Coordinates scale with the image, so
// a single chip and a quad show the same object; shiftPixels moves the object along x
// (the motor's stage).
#pragma once

#include <vector>

namespace sim {

// Transmission (0..1) of every pixel, row by row.
std::vector<float> sceneTransmission(int width, int height, double shiftPixels = 0.0);

} // namespace sim
