// Parting.h - the end of Aravis's objects for a camera that is gone.
//
// A stream and a device say good-bye to their camera in registers, each five times for half a second. Nobody waits
// for that where it is known that no answer comes.
#ifndef OX3D_ARAVIS_PARTING_H
#define OX3D_ARAVIS_PARTING_H

#include <glib-object.h>

namespace ox3d {

// Gives the caller's reference back on a thread of its own, which takes one object after the other and ends with the
// last; where no thread is to be had, at once. A stream's thread has been stopped before, with its buffers deleted.
void ReleaseLater(GObject* object) noexcept;

} // namespace ox3d

#endif
