// PngFile.cpp - libpng reports errors by a jump. The jump is caught in one function, Guarded(), and what runs
// inside it holds no object with a destructor.
#include "base/PngFile.h"

#include <png.h>
#include <sys/stat.h>
#include <unistd.h>

#include <bit>
#include <cerrno>
#include <csetjmp>
#include <cstdio>
#include <cstring>

#include "base/LocalFile.h"

namespace ox3d {
namespace {

constexpr int kQuickly = 1; // of the levels 0 to 9
constexpr uint32_t kMaxSide = 32768;
constexpr png_alloc_size_t kMaxTextChunkBytes = 8U << 20U;

// Everything of one file. Plain data, so that a jump skips nothing that must be undone.
struct PngJob {
    std::FILE* m_file = nullptr;
    png_structp m_png = nullptr;
    png_infop m_info = nullptr;
    bool m_isDepth = false;
    uint32_t m_width = 0;
    uint32_t m_height = 0;
    int m_bitDepth = 0;
    int m_colorType = 0;
    png_bytepp m_rows = nullptr;        // to be read
    const uint8_t* m_samples = nullptr; // to be written
    size_t m_rowBytes = 0;              // of a row of either
    char m_message[160] = {};
};

void NoteMessage(PngJob* job, const char* message) {
    std::snprintf(job->m_message, sizeof(job->m_message), "%s", message);
}

[[noreturn]] void OnError(png_structp png, png_const_charp message) {
    NoteMessage(static_cast<PngJob*>(png_get_error_ptr(png)), message);
    png_longjmp(png, 1);
}

void OnWarning(png_structp, png_const_charp) {}

bool Guarded(PngJob* job, void (*step)(PngJob*)) {
    if (setjmp(png_jmpbuf(job->m_png)) != 0) { // NOLINT(cert-err52-cpp): the library has no other way to fail
        return false;
    }
    step(job);
    return true;
}

void ReadHeader(PngJob* job) {
    png_init_io(job->m_png, job->m_file);
    png_set_user_limits(job->m_png, kMaxSide, kMaxSide);
    png_set_chunk_malloc_max(job->m_png, kMaxTextChunkBytes);
    png_read_info(job->m_png, job->m_info);
    job->m_width = png_get_image_width(job->m_png, job->m_info);
    job->m_height = png_get_image_height(job->m_png, job->m_info);
    job->m_bitDepth = png_get_bit_depth(job->m_png, job->m_info);
    job->m_colorType = png_get_color_type(job->m_png, job->m_info);
    if (static_cast<uint64_t>(job->m_width) * job->m_height > kMaxPngPixels) {
        png_error(job->m_png, "more than 64 megapixels");
    }
    if (job->m_isDepth && (job->m_bitDepth != 16 || job->m_colorType != PNG_COLOR_TYPE_GRAY)) {
        png_error(job->m_png, "a depth image must be 16-bit grey");
    }
    if (!job->m_isDepth && job->m_bitDepth > 8) {
        png_error(job->m_png, "a color image must have 8 bits a channel");
    }
}

void ReadRows(PngJob* job) {
    if (job->m_isDepth) {
        png_set_swap(job->m_png); // stored big-endian
    } else {
        png_set_expand(job->m_png); // palettes and fewer than 8 bits
        png_set_strip_alpha(job->m_png);
        png_set_gray_to_rgb(job->m_png);
    }
    png_set_interlace_handling(job->m_png);
    png_read_update_info(job->m_png, job->m_info);
    if (png_get_rowbytes(job->m_png, job->m_info) != job->m_rowBytes) {
        png_error(job->m_png, "unexpected row length");
    }
    png_read_image(job->m_png, job->m_rows);
    png_read_end(job->m_png, nullptr);
}

// Takes the samples as they lie in memory.
void WriteRows(PngJob* job) {
    png_set_compression_level(job->m_png,
                              kQuickly); // for frames as they come: the default takes several times as long
    png_init_io(job->m_png, job->m_file);
    png_set_IHDR(job->m_png, job->m_info, job->m_width, job->m_height, job->m_bitDepth, job->m_colorType,
                 PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(job->m_png, job->m_info);
    if (job->m_bitDepth == 16 && std::endian::native == std::endian::little) {
        png_set_swap(job->m_png);
    }
    for (uint32_t row = 0; row < job->m_height; ++row) {
        png_write_row(job->m_png, job->m_samples + row * job->m_rowBytes);
    }
    png_write_end(job->m_png, job->m_info);
}

// Opens the file and undoes everything in the end.
class CPngReader {
public:
    CPngReader(const std::string& path, bool isDepth) : m_path(path) { m_job.m_isDepth = isDepth; }
    CPngReader(const CPngReader&) = delete;
    CPngReader& operator=(const CPngReader&) = delete;
    ~CPngReader() {
        if (m_job.m_png != nullptr) {
            png_destroy_read_struct(&m_job.m_png, &m_job.m_info, nullptr);
        }
        if (m_job.m_file != nullptr) {
            std::fclose(m_job.m_file);
        }
    }

    bool Open(PngSize* size, std::string* error) {
        if (!OpenFile() || !MakeReader() || !Guarded(&m_job, ReadHeader)) {
            *error = m_path + ": " + m_job.m_message;
            return false;
        }
        *size = {m_job.m_width, m_job.m_height};
        return true;
    }

    // Rows of `rowBytes` bytes each, one after the other.
    bool Read(uint8_t* bytes, size_t rowBytes, std::string* error) {
        std::vector<png_bytep> rows(m_job.m_height);
        for (size_t row = 0; row < rows.size(); ++row) {
            rows[row] = bytes + row * rowBytes;
        }
        m_job.m_rows = rows.data();
        m_job.m_rowBytes = rowBytes;
        const bool isRead = Guarded(&m_job, ReadRows);
        m_job.m_rows = nullptr;
        if (!isRead) {
            *error = m_path + ": " + m_job.m_message;
        }
        return isRead;
    }

private:
    bool OpenFile() {
        const int descriptor = OpenLocalFile(m_path.c_str());
        if (descriptor < 0) {
            NoteMessage(&m_job, errno != 0 ? "cannot be opened" : "not a regular file");
            return false;
        }
        m_job.m_file = fdopen(descriptor, "rb");
        if (m_job.m_file == nullptr) {
            close(descriptor);
            NoteMessage(&m_job, "cannot be opened");
        }
        return m_job.m_file != nullptr;
    }

    bool MakeReader() {
        m_job.m_png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &m_job, OnError, OnWarning);
        m_job.m_info = m_job.m_png != nullptr ? png_create_info_struct(m_job.m_png) : nullptr;
        if (m_job.m_info == nullptr) {
            NoteMessage(&m_job, "out of memory");
        }
        return m_job.m_info != nullptr;
    }

    std::string m_path;
    PngJob m_job;
};

// Encodes into a file that is there already, and closes it.
bool Encode(PngJob* job) {
    job->m_png = png_create_write_struct(PNG_LIBPNG_VER_STRING, job, OnError, OnWarning);
    job->m_info = job->m_png != nullptr ? png_create_info_struct(job->m_png) : nullptr;
    const bool isEncoded = job->m_info != nullptr && Guarded(job, WriteRows);
    png_destroy_write_struct(&job->m_png, &job->m_info);
    return std::fclose(job->m_file) == 0 && isEncoded;
}

// A file is written beside its place, where it goes when it is whole; what is no file, such as a pipe, is written to.
bool WritePng(const std::string& path, PngJob* job, std::string* error) {
    struct stat status {};
    const bool isDevice = stat(path.c_str(), &status) == 0 && (status.st_mode & S_IFMT) != S_IFREG;
    const std::string part = isDevice ? path : path + "." + std::to_string(getpid()) + ".part";
    job->m_file = std::fopen(part.c_str(), "wbe");
    if (job->m_file == nullptr) {
        *error = path + ": " + std::strerror(errno);
        return false;
    }
    const bool isEncoded = Encode(job);
    if (isEncoded && (isDevice || std::rename(part.c_str(), path.c_str()) == 0)) {
        return true;
    }
    *error = path + ": " + (isEncoded ? std::strerror(errno) : "the disk is full or the image is empty");
    if (!isDevice) {
        unlink(part.c_str());
    }
    return false;
}

struct PngPixel {
    int m_colorType;
    int m_bitDepth;
    size_t m_bytes;
};

bool WritePixels(const std::string& path, const PngSize& size, const PngPixel& pixel, const uint8_t* samples,
                 std::string* error) {
    PngJob job;
    job.m_width = size.m_width;
    job.m_height = size.m_height;
    job.m_bitDepth = pixel.m_bitDepth;
    job.m_colorType = pixel.m_colorType;
    job.m_samples = samples;
    job.m_rowBytes = size.m_width * pixel.m_bytes;
    return WritePng(path, &job, error);
}

} // namespace

bool ReadPngSize(const std::string& path, bool isDepth, PngSize* size, std::string* error) {
    CPngReader reader(path, isDepth);
    return reader.Open(size, error);
}

bool ReadDepthPng(const std::string& path, PngSize* size, std::vector<uint16_t>* samples,
                  std::string* error) {
    CPngReader reader(path, true);
    if (!reader.Open(size, error)) {
        return false;
    }
    samples->resize(static_cast<size_t>(size->m_width) * size->m_height);
    const size_t rowBytes = static_cast<size_t>(size->m_width) * sizeof(uint16_t);
    return reader.Read(reinterpret_cast<uint8_t*>(samples->data()), rowBytes, error);
}

bool ReadColorPng(const std::string& path, PngSize* size, std::vector<uint8_t>* planes, std::string* error) {
    CPngReader reader(path, false);
    if (!reader.Open(size, error)) {
        return false;
    }
    const size_t pixels = static_cast<size_t>(size->m_width) * size->m_height;
    std::vector<uint8_t> interleaved(pixels * 3);
    if (!reader.Read(interleaved.data(), static_cast<size_t>(size->m_width) * 3, error)) {
        return false;
    }
    planes->resize(pixels * 3);
    for (size_t i = 0; i < pixels; ++i) {
        (*planes)[i] = interleaved[3 * i];
        (*planes)[pixels + i] = interleaved[3 * i + 1];
        (*planes)[2 * pixels + i] = interleaved[3 * i + 2];
    }
    return true;
}

bool WriteDepthPng(const std::string& path, const PngSize& size, const uint16_t* samples,
                   std::string* error) {
    const PngPixel pixel = {PNG_COLOR_TYPE_GRAY, 16, sizeof(uint16_t)};
    return WritePixels(path, size, pixel, reinterpret_cast<const uint8_t*>(samples), error);
}

bool WriteColorPng(const std::string& path, const PngSize& size, const uint8_t* interleaved,
                   std::string* error) {
    return WritePixels(path, size, {PNG_COLOR_TYPE_RGB, 8, 3}, interleaved, error);
}

bool WriteGreyPng(const std::string& path, const PngSize& size, const uint8_t* samples, std::string* error) {
    return WritePixels(path, size, {PNG_COLOR_TYPE_GRAY, 8, 1}, samples, error);
}

} // namespace ox3d
