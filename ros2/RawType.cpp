// RawType.cpp - the tables of functions that the library calls. Nothing is thrown through its frames: where there is no
// memory a sample is refused with null, as its own types do.
#include "ros2/RawType.h"

#include "base/ExceptionBarrier.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <dds/dds.h>
#include <dds/ddsi/ddsi_serdata.h>
#include <dds/ddsi/ddsi_sertype.h>
#include <dds/ddsi/q_radmin.h>
#include <functional>
#include <string_view>

namespace ox3d::ros2 {
namespace {

constexpr size_t kHeadBytes = 4;

struct RawType : ddsi_sertype {
    size_t m_maxBytes = 0; // of a sample from the network
};

struct RawSample : ddsi_serdata {
    MessagePointer m_message; // null: no more than a key, of which these types have none
};

RawSample* SampleOf(ddsi_serdata* sample) {
    return static_cast<RawSample*>(sample);
}
const RawSample* SampleOf(const ddsi_serdata* sample) {
    return static_cast<const RawSample*>(sample);
}

bool IsLengthOf(const ddsi_sertype* type, size_t lengthBytes) {
    return lengthBytes >= kHeadBytes && lengthBytes <= static_cast<const RawType*>(type)->m_maxBytes;
}

// Null where there is no memory.
template <class Make>
ddsi_serdata* NewSample(const ddsi_sertype* type, ddsi_serdata_kind kind, Make&& make) {
    return ExceptionBarrier(
        [&]() -> ddsi_serdata* {
            auto sample = std::make_unique<RawSample>();
            ddsi_serdata_init(sample.get(), type, kind);
            sample->hash = type->serdata_basehash;
            sample->m_message = make();
            return kind == SDK_DATA && sample->m_message == nullptr ? nullptr : sample.release();
        },
        [](const std::exception*) -> ddsi_serdata* { return nullptr; });
}

std::span<const uint8_t> BytesOf(const ddsi_serdata* sample) {
    const MessagePointer& message = SampleOf(sample)->m_message;
    return message == nullptr ? std::span<const uint8_t>() : message->Bytes();
}

bool IsSameKey(const ddsi_serdata* /*one*/, const ddsi_serdata* /*other*/) {
    return true; // there is one instance
}

uint32_t SizeOf(const ddsi_serdata* sample) {
    return static_cast<uint32_t>(std::max(BytesOf(sample).size(), kHeadBytes));
}

// From the pieces of the network, which may overlap. A piece that leaves a gap is refused with the whole.
ddsi_serdata* FromPieces(const ddsi_sertype* type, ddsi_serdata_kind kind, const nn_rdata* pieces,
                         size_t lengthBytes) {
    return NewSample(type, kind, [&]() -> MessagePointer {
        if (!IsLengthOf(type, lengthBytes)) {
            return nullptr;
        }
        ByteVector bytes(lengthBytes);
        size_t filled = 0;
        for (const nn_rdata* piece = pieces; piece != nullptr; piece = piece->nextfrag) {
            if (piece->min > filled) {
                return nullptr;
            }
            const size_t end = std::min<size_t>(piece->maxp1, lengthBytes);
            if (end > filled) {
                const unsigned char* const from =
                    NN_RMSG_PAYLOADOFF(piece->rmsg, NN_RDATA_PAYLOAD_OFF(piece));
                std::memcpy(bytes.data() + filled, from + (filled - piece->min), end - filled);
                filled = end;
            }
        }
        return filled == lengthBytes ? std::make_shared<CMessage>(std::move(bytes)) : nullptr;
    });
}

ddsi_serdata* FromVectors(const ddsi_sertype* type, ddsi_serdata_kind kind, ddsrt_msg_iovlen_t count,
                          const ddsrt_iovec_t* vectors, size_t lengthBytes) {
    return NewSample(type, kind, [&]() -> MessagePointer {
        if (!IsLengthOf(type, lengthBytes)) {
            return nullptr;
        }
        ByteVector bytes;
        bytes.reserve(lengthBytes + kHeadBytes);
        for (size_t i = 0; i < count && bytes.size() < lengthBytes; ++i) {
            const auto* const from = static_cast<const uint8_t*>(vectors[i].iov_base);
            const size_t taken = std::min<size_t>(vectors[i].iov_len, lengthBytes - bytes.size());
            bytes.insert(bytes.end(), from, from + taken);
        }
        return bytes.size() == lengthBytes ? std::make_shared<CMessage>(std::move(bytes)) : nullptr;
    });
}

ddsi_serdata* FromKeyHash(const ddsi_sertype* type, const ddsi_keyhash* /*hash*/) {
    return NewSample(type, SDK_KEY, []() -> MessagePointer { return nullptr; });
}

ddsi_serdata* FromSample(const ddsi_sertype* type, ddsi_serdata_kind kind, const void* sample) {
    return NewSample(type, kind, [&]() -> MessagePointer {
        return kind == SDK_DATA ? *static_cast<const MessagePointer*>(sample) : nullptr;
    });
}

constexpr uint8_t kEmptyHead[kHeadBytes] = {0, 1, 0, 0};

// The library asks for whole words; the message's memory goes on to the end of its last one.
const uint8_t* PieceOf(const ddsi_serdata* sample, size_t offset) {
    const auto bytes = BytesOf(sample);
    return (bytes.empty() ? kEmptyHead : bytes.data()) + offset;
}

void CopyPiece(const ddsi_serdata* sample, size_t offset, size_t lengthBytes, void* out) {
    std::memcpy(out, PieceOf(sample, offset), lengthBytes);
}

ddsi_serdata* LendPiece(const ddsi_serdata* sample, size_t offset, size_t lengthBytes, ddsrt_iovec_t* piece) {
    piece->iov_base = const_cast<uint8_t*>(PieceOf(sample, offset)); // which is sent from there
    piece->iov_len = lengthBytes;
    return ddsi_serdata_ref(sample);
}

void ReturnPiece(ddsi_serdata* sample, const ddsrt_iovec_t* /*piece*/) {
    ddsi_serdata_unref(sample);
}

bool IsNoSample(const ddsi_serdata* /*sample*/, void* /*out*/, void** /*room*/, void* /*end*/) {
    return false; // what is read is taken as it came, with dds_takecdr()
}

ddsi_serdata* Untyped(const ddsi_serdata* sample) {
    ddsi_serdata* const untyped =
        NewSample(sample->type, SDK_KEY, []() -> MessagePointer { return nullptr; });
    if (untyped != nullptr) {
        untyped->type = nullptr;
    }
    return untyped;
}

bool IsNoUntypedSample(const ddsi_sertype* /*type*/, const ddsi_serdata* /*sample*/, void* /*out*/,
                       void** /*room*/, void* /*end*/) {
    return true; // there are no keys to fill in
}

void FreeSample(ddsi_serdata* sample) {
    delete SampleOf(sample);
}

size_t Print(const ddsi_sertype* /*type*/, const ddsi_serdata* sample, char* out, size_t roomBytes) {
    const int written = std::snprintf(out, roomBytes, "%zu bytes", BytesOf(sample).size());
    return static_cast<size_t>(std::max(written, 0));
}

void PutKeyHash(const ddsi_serdata* /*sample*/, ddsi_keyhash* out, bool /*isMd5Forced*/) {
    std::memset(out, 0, sizeof(*out));
}

void FreeType(ddsi_sertype* type) {
    ddsi_sertype_fini(type);
    delete static_cast<RawType*>(type);
}

// Of samples as dds_read() would have them, which nobody asks for.
void ZeroSamples(const ddsi_sertype* /*type*/, void* /*samples*/, size_t /*count*/) {}

void NoSamples(void** samples, const ddsi_sertype* /*type*/, void* /*old*/, size_t /*oldCount*/,
               size_t count) {
    std::fill_n(samples, count, nullptr);
}

void FreeSamples(const ddsi_sertype* /*type*/, void** /*samples*/, size_t /*count*/,
                 dds_free_op_t /*operation*/) {}

bool IsSameType(const ddsi_sertype* one, const ddsi_sertype* other) { // names were compared before
    return static_cast<const RawType*>(one)->m_maxBytes == static_cast<const RawType*>(other)->m_maxBytes;
}

uint32_t HashOf(const ddsi_sertype* type) {
    return static_cast<uint32_t>(std::hash<std::string_view>()(type->type_name));
}

ddsi_serdata_ops SampleFunctions() {
    ddsi_serdata_ops functions{};
    functions.eqkey = IsSameKey;
    functions.get_size = SizeOf;
    functions.from_ser = FromPieces;
    functions.from_ser_iov = FromVectors;
    functions.from_keyhash = FromKeyHash;
    functions.from_sample = FromSample;
    functions.to_ser = CopyPiece;
    functions.to_ser_ref = LendPiece;
    functions.to_ser_unref = ReturnPiece;
    functions.to_sample = IsNoSample;
    functions.to_untyped = Untyped;
    functions.untyped_to_sample = IsNoUntypedSample;
    functions.free = FreeSample;
    functions.print = Print;
    functions.get_keyhash = PutKeyHash;
    return functions;
}

ddsi_sertype_ops TypeFunctions() {
    ddsi_sertype_ops functions{};
    functions.version = ddsi_sertype_v0;
    functions.free = FreeType;
    functions.zero_samples = ZeroSamples;
    functions.realloc_samples = NoSamples;
    functions.free_samples = FreeSamples;
    functions.equal = IsSameType;
    functions.hash = HashOf;
    return functions;
}

} // namespace

ddsi_sertype* MakeRawType(const std::string& name, size_t maxBytes) {
    static const ddsi_serdata_ops s_sampleFunctions = SampleFunctions();
    static const ddsi_sertype_ops s_typeFunctions = TypeFunctions();
    auto type = std::make_unique<RawType>(); // of zeros, as the library wants what it does not fill
    constexpr bool kIsWithoutKey = true;
    ddsi_sertype_init(type.get(), name.c_str(), &s_typeFunctions, &s_sampleFunctions, kIsWithoutKey);
    type->m_maxBytes = maxBytes;
    type->allowed_data_representation = DDS_DATA_REPRESENTATION_FLAG_XCDR1; // what ROS 2 speaks
    return type.release();
}

MessagePointer MessageOf(const ddsi_serdata* sample) {
    return SampleOf(sample)->m_message;
}

} // namespace ox3d::ros2
