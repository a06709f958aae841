// LensTurn.h - how far from its axis a distorted lens is described by its numbers.
#ifndef OX3D_ALIGNMENT_LENS_TURN_H
#define OX3D_ALIGNMENT_LENS_TURN_H

namespace ox3d {

// Up to which x^2 + y^2 of a direction (x, y, 1) the radial distortion grows outwards, by its terms of the second, fourth and
// sixth power. Beyond, directions that the camera does not see fall back into its image.
double MaxRadius2(double k1, double k2, double k3);

} // namespace ox3d

#endif
