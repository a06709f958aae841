// A picture of points: discs with a depth test, shaded where depth steps, at twice the final resolution.
#ifndef OX3D_TOOL_SPLAT_CANVAS_H
#define OX3D_TOOL_SPLAT_CANVAS_H

#include "tools/ox3d/pictures/Images.h"

namespace ox3d::tool {

class CSplatCanvas {
public:
    // Size of the finished picture in pixels; all coordinates below are in these pixels too.
    CSplatCanvas(uint32_t width, uint32_t height);

    // A disc at (x, y) that is `distance` away from the viewer; the nearest wins.
    void Splat(float x, float y, float radius, float distance, Rgb color);

    // Over the pixels that a disc covers; 0 without any.
    float MeanDistance() const;

    // The finished picture on a dark ground. `unit` is the change of distance that counts as a step.
    RgbImage Finish(float unit) const;

private:
    float ShadeAt(uint32_t x, uint32_t y, float unit) const;

    RgbImage m_colors;
    Image<float> m_distances;
};

// A line of one pixel, blended over what is there; what lies outside the picture is left out.
void DrawLine(RgbImage& picture, float x0, float y0, float x1, float y1, Rgb color, float opacity);

} // namespace ox3d::tool

#endif
