/**
 * \file Ox3dRgbdImgProc.h
 * \brief Image processing on delivered frames.
 */
#ifndef OX3D_RGBD_IMG_PROC_H
#define OX3D_RGBD_IMG_PROC_H

#include "Ox3dRgbdDefine.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Turns a depth image into an organised point cloud in the depth camera's frame: one point of three floats
 * X, Y, Z for every pixel, row-major, in the depth's own unit, millimetres; X to the right, Y down, Z along the view;
 * pixels without depth give (0, 0, 0):  X = (u - cx) d / fx,  Y = (v - cy) d / fy,  Z = d.
 * \param handle         the device whose calibration applies
 * \param pstDepth       in: OX3D_RGBD_PIXEL_DEPTH16, at least 640 x 480, nDataLen = width * height * 2
 * \param pstPointCloud  out: OX3D_RGBD_PIXEL_POINT_CLOUD, nDataLen = width * height * 12; pData belongs to the
 *                       library and stays valid until the next conversion on the device; the time stamp and the
 *                       stream type are left alone
 *
 * Runs without the device's lock. While frames are delivered with "ImageAlign" on, the conversion shares
 * their buffers: call it from the frame callback, from the thread that fetches, or switch "ImageAlign" off.
 *
 * ATTENTION: the depth camera's lens is taken for EVERY image. A depth image that was registered to the color camera
 * ("ImageAlign", on by default) is seen from there, and its points would be wrong by tens of millimetres, without a word.
 * OX3D_RGBD_MapFrameToPointCloud (Ox3dRgbdExtension.h) takes a whole frame and is right for every setting.
 *
 * \return OX3D_RGBD_E_HANDLE for a bad handle, OX3D_RGBD_E_PARAMETER for null or an image that does not
 * fulfil the above, OX3D_RGBD_E_MEMORY, OX3D_RGBD_E_NO_DATA without a usable calibration file,
 * OX3D_RGBD_E_ALGORITHM when the conversion fails (an image below 640 x 480).
 */
OX3D_RGBD_API uint32_t OX3D_RGBD_MapDepthToPointCloud(void* handle, OX3D_RGBD_IMAGE_DATA* pstDepth,
                                                      OX3D_RGBD_IMAGE_DATA* pstPointCloud);

#ifdef __cplusplus
}
#endif

#endif /* OX3D_RGBD_IMG_PROC_H */
