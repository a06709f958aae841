// How every process opens: all three pointers given, both record sizes as expected, and the records copied,
// since callers need not align them. Relies on records that are plain data.
#pragma once

#include "algorithm/binostereo/Object.h"

#include <cstring>

namespace ox3d::stereo {

template <typename TInput, typename TOutput>
int32_t CheckRecords(const void* handle, const void* input, int32_t inputSize, const void* output,
                     int32_t outputSize) {
    if (handle == nullptr || input == nullptr || output == nullptr) {
        return OXB3D_BINOSTEREO_E_NULL;
    }
    const bool fits = inputSize == static_cast<int32_t>(sizeof(TInput)) &&
                      outputSize == static_cast<int32_t>(sizeof(TOutput));
    return fits ? OXB3D_BINOSTEREO_OK : OXB3D_BINOSTEREO_E_RECORD_SIZE;
}

// An output record is read where it names the memory to write to.
template <typename TRecord>
TRecord ReadRecord(const void* from) {
    TRecord record;
    std::memcpy(&record, from, sizeof record);
    return record;
}

template <typename TRecord>
void WriteRecord(const TRecord& record, void* to) {
    std::memcpy(to, &record, sizeof record);
}

} // namespace ox3d::stereo
