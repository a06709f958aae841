// YuvRows.cpp - libyuv's scaler.
#include "bench/Images.h"
#include "bench/Rows.h"

#include <libyuv/scale.h>

namespace ox3dbench {

void AddYuvRows() {
    for (const Size size : kSizes) {
        AddRow("scaling", "libyuv, bilinear", size, [size] {
            ScaleImages& images = Shared<ScaleImages>(size);
            return [&images] {
                const Size from = images.m_source;
                const Size to = images.m_target;
                for (size_t plane = 0; plane < 3; ++plane) {
                    libyuv::ScalePlane(images.m_from.Data() + plane * from.Pixels(), from.m_width,
                                       from.m_width, from.m_height, images.m_to.Data() + plane * to.Pixels(),
                                       to.m_width, to.m_width, to.m_height, libyuv::kFilterBilinear);
                }
            };
        });
    }
}

} // namespace ox3dbench
