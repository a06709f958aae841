/*
 * Ox3dRgbdExtension.h - what the library does beyond its first interface, for an application that asks for it.
 *
 * A device that comes back. With OX3D_RGBD_KEY_AUTO_RECONNECT set to 1, the loss of a device does not end its handle.
 * The library closes the device, looks for the same serial number, at whatever address, half a second after each attempt,
 * opens it, sets the work mode and then everything that the application had set, in the same order, and goes on streaming if the
 * device was streaming.
 *
 *   the exception callback  is told OX3D_RGBD_EXCEPTION_RETRYING at the loss, in place of OX3D_RGBD_EXCEPTION_OFFLINE,
 *                           and OX3D_RGBD_EXCEPTION_RECONNECTED when the device is back. Both come from a thread of the
 *                           library that takes no step before the callback has returned: it should leave soon, call no
 *                           function that needs the device's lock, and not end its thread.
 *   OX3D_RGBD_FetchFrame    waits meanwhile and returns OX3D_RGBD_E_NO_DATA in time, or a frame of the device that is
 *                           back. Without a time-out (0xFFFFFFFF) it waits for a lost device a second at a time. Frame
 *                           numbers begin again at 1.
 *   other calls that ask    return OX3D_RGBD_E_CAMERA_07 meanwhile and are not made up for. OX3D_RGBD_Stop and
 *   the device              OX3D_RGBD_CloseDevice succeed; the close waits for the step of an attempt that is under
 *                           way, as long as the provider waits for the device. Callbacks can be registered and taken
 *                           away as ever.
 *
 * Set again: features set by OX3D_RGBD_SetParam, each with the selectors that the application had set before it;
 * files of OX3D_RGBD_ImportAllParam, as they were then; OX3D_RGBD_SetImageNodeNum; OX3D_RGBD_SetGvcpTimeout; the
 * trigger mode that OX3D_RGBD_SoftTrigger sets. What the device refuses is tried once more after all others, and then
 * logged as a warning. Not made again: commands, memory and files written into the device.
 */
#ifndef OX3D_RGBD_EXTENSION_H
#define OX3D_RGBD_EXTENSION_H

#include "Ox3dRgbdApi.h"

/* A key of the library itself: OX3D_RGBD_SetParam and OX3D_RGBD_GetParam with OX3D_RGBD_PARAM_INT, 0 (default) or 1, held
 * per device. Setting it to 1 registers for the device's loss and starts a thread: OX3D_RGBD_E_MEMORY when there is
 * none to be had, OX3D_RGBD_E_NO_DATA for a device without a serial number. Setting it to 0 while a device is looked
 * for ends that: the exception callback is told OX3D_RGBD_EXCEPTION_OFFLINE, and the handle can only be closed. */
#define OX3D_RGBD_KEY_AUTO_RECONNECT "Ox3dAutoReconnect"

/* nExceptionId with OX3D_RGBD_KEY_AUTO_RECONNECT. The descriptions are ASCII. */
#define OX3D_RGBD_EXCEPTION_RETRYING 2u
#define OX3D_RGBD_EXCEPTION_RECONNECTED 3u

#endif
