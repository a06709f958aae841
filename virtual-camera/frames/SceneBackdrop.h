// SceneBackdrop.h - the part of the procedural scene that does not move, rendered once; a frame adds the ball.
//
// Backdrops are immutable after they are built, so any number of cameras may share one.
#ifndef OX3D_VIRTUAL_CAMERA_SCENE_BACKDROP_H
#define OX3D_VIRTUAL_CAMERA_SCENE_BACKDROP_H

#include "virtual-camera/frames/SceneModel.h"
#include "virtual-camera/frames/SceneShading.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace ox3d {

// A rectangle of pixels; the ends are exclusive.
struct PixelRect {
    uint32_t m_left = 0;
    uint32_t m_top = 0;
    uint32_t m_right = 0;
    uint32_t m_bottom = 0;
};

// Every pixel that can show the sphere, cut to the image.
PixelRect RectAround(const PinholeCamera& camera, const Sphere& sphere, uint32_t width, uint32_t height);

class CDepthBackdrop {
public:
    CDepthBackdrop(uint32_t width, uint32_t height);
    // Depths of a frame in millimetres, 0 = no data, not rounded. With holes, pixels that a stereo camera
    // cannot match are 0 as well.
    void Render(const SceneBall& ball, bool withHoles, std::vector<float>* depth) const;
    size_t Bytes() const { return (m_depth.size() + m_matched.size()) * sizeof(float); }

private:
    bool IsMatched(const Ray& ray, const SceneHit& hit) const;
    float DepthWithBall(const Ray& ray, size_t pixel, const SceneBall& ball, bool withHoles) const;

    const CSceneModel& m_model;
    PinholeCamera m_camera;
    PinholeCamera m_second;
    uint32_t m_width;
    uint32_t m_height;
    std::vector<float> m_depth;   // without holes
    std::vector<float> m_matched; // with holes
};

// One camera's picture in color (three planes) or grey (one plane).
class CPictureBackdrop {
public:
    CPictureBackdrop(const PinholeCamera& camera, uint32_t width, uint32_t height, bool isGrey);
    // Writes width x height bytes for each plane.
    void Render(const SceneBall& ball, uint8_t* planes) const;
    size_t Bytes() const;

private:
    // The surroundings of a square of pixels' points: tells which squares a shadow can touch.
    struct Tile {
        Vec3 m_center;
        double m_radiusMm = -1.0; // negative: the tile shows nothing
    };
    struct Shadow;

    Ray RayOf(uint32_t column, uint32_t row) const;
    void Store(const LinearColor& lit, const LinearColor& shaded, size_t pixel);
    void PaintPixels();
    void SmoothEdges();
    bool IsEdge(uint32_t column, uint32_t row) const;
    void MeasureTiles();
    Tile MeasureTile(uint32_t left, uint32_t top) const;
    bool Reaches(const Shadow& shadow, const Tile& tile) const;
    void ShadeTile(const SceneBall& ball, uint32_t left, uint32_t top, uint8_t* planes) const;
    void DrawBall(const SceneBall& ball, uint8_t* planes) const;
    void BlendBall(const SceneBall& ball, const Ray& ray, size_t pixel, uint8_t* planes) const;

    const CSceneModel& m_model;
    PinholeCamera m_camera;
    uint32_t m_width;
    uint32_t m_height;
    size_t m_planes;
    // Display values with the key light and without it; planes one after the other.
    std::vector<uint8_t> m_lit;
    std::vector<uint8_t> m_shaded;
    std::vector<float> m_depth;
    std::vector<uint8_t> m_object;
    std::vector<Tile> m_tiles;
    uint32_t m_tilesAcross = 0;
};

// Backdrops are costly, so the process keeps those used last, up to some memory, and shares them. All three
// throw std::bad_alloc. Sizes must not be 0.
std::shared_ptr<const CDepthBackdrop> SharedDepthBackdrop(uint32_t width, uint32_t height);
std::shared_ptr<const CPictureBackdrop> SharedColorBackdrop(uint32_t width, uint32_t height);
std::shared_ptr<const CPictureBackdrop> SharedGreyBackdrop(uint32_t width, uint32_t height,
                                                           bool ofSecondImager);

} // namespace ox3d

#endif
