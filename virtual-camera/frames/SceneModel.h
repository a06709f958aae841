// SceneModel.h - the procedural scene: what stands where, which cameras look at it and where the ball is.
//
// Everything is a pure function of the frame index. The room's frame has its origin in the depth camera.
#ifndef OX3D_VIRTUAL_CAMERA_SCENE_MODEL_H
#define OX3D_VIRTUAL_CAMERA_SCENE_MODEL_H

#include "virtual-camera/frames/SceneGeometry.h"

#include <array>
#include <cstdint>

namespace ox3d {

// What a ray met. Boxes follow kSceneFirstBox in the order of CSceneModel::Boxes().
constexpr uint8_t kSceneNothing = 0;
constexpr uint8_t kSceneFloor = 1;
constexpr uint8_t kSceneCeiling = 2;
constexpr uint8_t kSceneLeftWall = 3;
constexpr uint8_t kSceneRightWall = 4;
constexpr uint8_t kSceneBackWall = 5;
constexpr uint8_t kSceneBall = 6;
constexpr uint8_t kSceneFirstBox = 7;

// The order of the boxes; shading gives each its own look.
constexpr uint8_t kBoxCrate = 0;
constexpr uint8_t kBoxParcel = 1;
constexpr uint8_t kBoxCabinet = 2;
constexpr uint8_t kBoxBoard = 3;
constexpr uint8_t kBoxCube = 4;
constexpr uint8_t kBoxPicture = 5;
constexpr uint8_t kBoxCount = 6;

struct SceneHit {
    double m_depth = 0.0; // along the optical axis of the ray's camera; 0 when nothing was met
    uint8_t m_object = kSceneNothing;
    Vec3 m_normal; // in the room's frame, towards the viewer
};

// The ball rolls to and fro on the floor.
struct SceneBall {
    Sphere m_sphere;
    Mat3 m_toBall; // takes a direction of the room into the ball's own axes: its pattern turns with it
};

struct SceneLight {
    Vec3 m_center;
    double m_radiusMm = 0.0;
};

// Stereo geometry. The second imager is the depth camera's twin, moved along its x axis.
constexpr double kSceneBaselineMm = 50.0;
// The noise grows with the square of the distance, as the error of a triangulated depth does.
constexpr double kSceneNoisePerMm = 0.15e-6;
// Outside of these a depth camera reports no data.
constexpr double kSceneNearMm = 250.0;
constexpr double kSceneFarMm = 6000.0;
// Lines of sight stop so far from their ends, which keeps a surface from standing in its own way.
constexpr double kSceneMarginMm = 0.5;
// Cosine between line of sight and surface normal below which the two views match no more.
constexpr double kSceneMinCosine = 0.15;
// The ball is back where it was after so many frames.
constexpr uint32_t kSceneBallPeriod = 360;

inline double SceneNoiseSigmaMm(double depthMm) {
    return kSceneNoisePerMm * depthMm * depthMm;
}

class CSceneModel {
public:
    // The one scene there is. It has nothing to destroy, so it may be used until the very end of the process.
    static const CSceneModel& Get();

    const std::array<OrientedBox, kBoxCount>& Boxes() const { return m_boxes; }
    const SceneLight& Light() const { return m_light; }
    double FloorY() const { return m_floorY; }
    double BackWallZ() const { return m_backZ; }
    double LeftWallX() const { return m_leftX; }
    double RightWallX() const { return m_rightX; }

    SceneBall BallAt(uint64_t index) const;

    // Everything but the ball.
    SceneHit CastStatic(const Ray& ray) const;
    // The whole scene as it is in one frame.
    SceneHit Cast(const Ray& ray, const SceneBall& ball) const;
    // Whether a box stands between two points. The walls never do: the room is convex.
    bool BoxBetween(const Vec3& from, const Vec3& to) const;

    // The depth camera and its twin, for images of the given size. A pixel's value belongs to the ray through
    // its integer coordinates.
    PinholeCamera DepthCamera(uint32_t width, uint32_t height) const;
    PinholeCamera SecondImager(uint32_t width, uint32_t height) const;
    // The color camera, for images of colorWidth x colorHeight pixels that are scaled to width x height.
    // A pixel's value belongs to the ray through its integer coordinates here, too, so scaling such an image about its
    // pixel centres moves the principal point with the image's corner: cx + 0.5 and cy + 0.5 grow like the size.
    PinholeCamera ColorCamera(uint32_t colorWidth, uint32_t colorHeight, uint32_t width,
                              uint32_t height) const;

    // Takes a point of the depth camera's frame into the color camera's: R * point + t.
    Mat3 DepthToColorRotation() const { return m_depthToColor; }
    Vec3 DepthToColorTranslation() const;

private:
    CSceneModel();
    SceneHit CastShell(const Ray& ray) const;

    double m_floorY = 850.0;
    double m_ceilingY = -1400.0;
    double m_leftX = -1250.0;
    double m_rightX = 1250.0;
    double m_backZ = 2050.0;
    SceneLight m_light;
    Mat3 m_depthToRoom;
    Mat3 m_depthToColor;
    Vec3 m_colorInDepth; // the color camera's centre in the depth camera's frame
    std::array<OrientedBox, kBoxCount> m_boxes;
};

// Whether the second imager has the point in its picture and no box stands in its way. The ball is left out:
// the caller asks about it where it can matter.
bool SecondImagerSees(const CSceneModel& model, const PinholeCamera& second, const Vec3& roomPoint);

} // namespace ox3d

#endif
