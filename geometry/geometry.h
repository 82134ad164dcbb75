/*
 * Flips, rotations, the 50% shrink and the two inversions. Each gives the
 * image that is current afterwards: the same one for the operations that
 * work in place, a new one (the argument freed) for the others. Those
 * give null and keep their argument when the new image cannot be made.
 */
#ifndef ZELMAR_GEOMETRY_GEOMETRY_H
#define ZELMAR_GEOMETRY_GEOMETRY_H

#include "../core/image.h"

IMAGE* IMAGE_FlipH(IMAGE* pImage);
IMAGE* IMAGE_FlipV(IMAGE* pImage);
IMAGE* IMAGE_Rotate180(IMAGE* pImage);
IMAGE* IMAGE_Rotate90CCW(IMAGE* pImage);
IMAGE* IMAGE_Rotate90CW(IMAGE* pImage);
IMAGE* IMAGE_Shrink(IMAGE* pImage);
IMAGE* IMAGE_InvertIndices(IMAGE* pImage);
IMAGE* IMAGE_InvertColors(IMAGE* pImage);

#endif
