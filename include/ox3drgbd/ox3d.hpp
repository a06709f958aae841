/**
 * \file ox3d.hpp
 * \brief The camera library for C++17, over the C headers: objects that clean up, results without exceptions, views of
 * images that know their size.
 *
 * Header-only: a program includes this file and links the library as a C program does. Nothing here throws, and it compiles
 * with -fno-exceptions and -fno-rtti; where memory runs out, functions that return a std::string or a std::vector do what
 * these do. An exception that leaves a callback is caught and logged by the library, and the stream goes on.
 *
 * Units are those of the C headers: depth and points in millimetres, sizes in pixels, lengths in bytes, time stamps of images in
 * ticks of the device's clock, features in the unit of the camera's description. Time-outs are std::chrono::milliseconds.
 *
 * Threads. Functions of one Camera may be called by several threads at once, as those of the C interface may
 * (Ox3dRgbdApi.h); moving, closing, assigning and destroying it may not run beside anything else of it. Other objects
 * belong to one thread at a time. A Subscription may be destroyed by any thread, also while its camera is closed.
 *
 * Statuses that are not repeated below: OX3D_RGBD_E_HANDLE of a camera that was closed or moved from, OX3D_RGBD_E_MEMORY, and
 * the translated codes of whatever asks the camera.
 */
#ifndef OX3D_HPP
#define OX3D_HPP

#include "Ox3dRgbdExtension.h"

#include <array>
#include <atomic>
#include <cfloat>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <limits>
#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

namespace ox3d {

/** Parts of a program that were compiled against another version of this header keep their own functions. */
inline namespace v1 {

/** A status of the library: OX3D_RGBD_OK or what went wrong. */
class [[nodiscard]] Status {
public:
    /** OX3D_RGBD_OK. */
    constexpr Status() noexcept = default;
    /** \param code  OX3D_RGBD_OK or OX3D_RGBD_E_* */
    constexpr explicit Status(std::uint32_t code) noexcept : m_code(code) {}

    /** \return OX3D_RGBD_OK or OX3D_RGBD_E_* */
    [[nodiscard]] constexpr std::uint32_t code() const noexcept { return m_code; }
    /** \return whether it is OX3D_RGBD_OK */
    constexpr explicit operator bool() const noexcept { return m_code == OX3D_RGBD_OK; }
    /** \return whether two statuses are one */
    friend constexpr bool operator==(Status left, Status right) noexcept {
        return left.m_code == right.m_code;
    }
    /** \return whether two statuses differ */
    friend constexpr bool operator!=(Status left, Status right) noexcept { return !(left == right); }

    /** \return name and meaning, "OX3D_RGBD_E_NO_DATA: no data"; valid while the library is loaded */
    [[nodiscard]] const char* text() const noexcept { return OX3D_RGBD_StatusText(m_code); }
    /** \return "OX3D_RGBD_E_NO_DATA"; empty for a status of nobody's; valid while the library is loaded */
    [[nodiscard]] std::string_view name() const noexcept {
        const std::string_view all = text();
        const std::size_t colon = all.find(": ");
        return colon == std::string_view::npos ? std::string_view() : all.substr(0, colon);
    }
    /** \return what it means, in English; valid while the library is loaded */
    [[nodiscard]] std::string_view sentence() const noexcept {
        const std::string_view all = text();
        return name().empty() ? all : all.substr(name().size() + 2);
    }

private:
    std::uint32_t m_code = OX3D_RGBD_OK;
};

/** A value, or the status that says why there is none. */
template <class T>
class [[nodiscard]] Result {
public:
    /** \param value  what there is */
    Result(T value) : m_value(std::move(value)) {}
    /** \param error  why there is no value; a success is none and becomes OX3D_RGBD_E_HANDLE */
    Result(Status error) noexcept : m_error(error ? Status(OX3D_RGBD_E_HANDLE) : error) {}

    /** \return whether there is a value */
    explicit operator bool() const noexcept { return m_value.has_value(); }
    /** \return OX3D_RGBD_OK where there is a value, else why there is none */
    [[nodiscard]] Status error() const noexcept { return m_error; }

    /** \return the value. Without one the program is ended, with the status on stderr. */
    T& operator*() & {
        demand();
        return *m_value;
    }
    /** \return the value. Without one the program is ended, with the status on stderr. */
    const T& operator*() const& {
        demand();
        return *m_value;
    }
    /** \return the value itself, so that it may outlive a result that was never named. Without one the program is ended. */
    T operator*() && {
        demand();
        return std::move(*m_value);
    }
    /** \return the value. Without one the program is ended, with the status on stderr. */
    T* operator->() { return &**this; }
    /** \return the value. Without one the program is ended, with the status on stderr. */
    const T* operator->() const { return &**this; }

    /**
     * \param other  what to take without a value
     * \return the value or the other
     */
    template <class U>
    [[nodiscard]] T value_or(U&& other) const& {
        return m_value.value_or(std::forward<U>(other));
    }
    /**
     * \param other  what to take without a value
     * \return the value or the other
     */
    template <class U>
    [[nodiscard]] T value_or(U&& other) && {
        return std::move(m_value).value_or(std::forward<U>(other));
    }

private:
    void demand() const {
        if (!m_value.has_value()) {
            std::fprintf(stderr, "ox3d: there is no value, and it was used: %s\n", m_error.text());
            std::abort();
        }
    }

    std::optional<T> m_value;
    Status m_error;
};

/** A text for one call: whatever const char* or std::string the caller has, which stays the caller's. */
class TextArg {
public:
    /** \param text  NUL-terminated; null is refused by the function that gets it (OX3D_RGBD_E_PARAMETER) */
    constexpr TextArg(const char* text) noexcept : m_text(text) {}
    /** \param text  counts up to its first NUL */
    TextArg(const std::string& text) noexcept : m_text(text.c_str()) {}
    /** \return the text */
    [[nodiscard]] constexpr const char* get() const noexcept { return m_text; }

private:
    const char* m_text;
};

/** The two cameras of a device, and the two streams that they give. */
enum class Sensor : std::uint32_t {
    Depth = OX3D_RGBD_CAMERA_DEPTH, /**< the depth camera */
    Color = OX3D_RGBD_CAMERA_COLOR  /**< the color camera */
};

/** A pixel of an OX3D_RGBD_PIXEL_RGBD image, 5 bytes. */
struct RgbdPixel {
    std::uint8_t red;       /**< 0 to 255 */
    std::uint8_t green;     /**< 0 to 255 */
    std::uint8_t blue;      /**< 0 to 255 */
    std::uint8_t depthLow;  /**< the lower byte of the depth */
    std::uint8_t depthHigh; /**< the upper byte of the depth */
    /** \return millimetres; 0 is no depth */
    [[nodiscard]] constexpr std::uint16_t depth() const noexcept {
        return static_cast<std::uint16_t>(depthLow | depthHigh << 8);
    }
};

/** Three numbers of a point in millimetres, or of a normal of length 1. X to the right, Y down, Z along the view. */
struct Point {
    float x; /**< to the right */
    float y; /**< down */
    float z; /**< along the view */
};

/** The color of a point. */
struct Color {
    std::uint8_t red;   /**< 0 to 255 */
    std::uint8_t green; /**< 0 to 255 */
    std::uint8_t blue;  /**< 0 to 255 */
    std::uint8_t alpha; /**< 255; 0, with the others, where the color image does not show the point */
};

/**
 * An image that is read where it lies: T is one pixel, std::uint16_t for depth in millimetres. Owns nothing. Valid as long as
 * the frame that it came from: until the next fetch, until the callback returns, or as long as the Frame.
 */
template <class T>
class ImageView {
    static_assert(std::is_trivially_copyable_v<T> && !std::is_const_v<T>, "a pixel is bytes that are read");

public:
    /** No image: a width and height of 0. */
    constexpr ImageView() noexcept = default;

    /**
     * The one way to a view of pixels: the record's length must be just that of its size.
     * \param image   a record of a frame; its pixels stay where they are
     * \param plane   which of them, from 0
     * \param planes  how many planes of one size lie behind each other
     * \return OX3D_RGBD_E_NO_DATA for an image without pixels; OX3D_RGBD_E_PARAMETER when width, height and T do not make the
     *         record's length, the data does not lie as T must, or there is no such plane
     */
    static Result<ImageView> of(const OX3D_RGBD_IMAGE_DATA& image, std::uint32_t plane = 0,
                                std::uint32_t planes = 1) noexcept {
        const std::uint64_t pixels = std::uint64_t{image.nWidth} * image.nHeight;
        if (image.pData == nullptr || pixels == 0) {
            return Status(OX3D_RGBD_E_NO_DATA);
        }
        if (pixels > image.nDataLen || plane >= planes || pixels * sizeof(T) * planes != image.nDataLen ||
            reinterpret_cast<std::uintptr_t>(image.pData) % alignof(T) != 0) {
            return Status(OX3D_RGBD_E_PARAMETER);
        }
        ImageView view;
        view.m_data = reinterpret_cast<const T*>(image.pData) + pixels * plane;
        view.m_width = image.nWidth;
        view.m_height = image.nHeight;
        return view;
    }

    /** \return the first pixel; rows follow each other without padding */
    [[nodiscard]] constexpr const T* data() const noexcept { return m_data; }
    /** \return pixels of a row */
    [[nodiscard]] constexpr std::uint32_t width() const noexcept { return m_width; }
    /** \return rows */
    [[nodiscard]] constexpr std::uint32_t height() const noexcept { return m_height; }
    /** \return bytes from one row to the next, as other libraries ask for them */
    [[nodiscard]] constexpr std::size_t stride() const noexcept { return sizeof(T) * m_width; }
    /** \return pixels in all */
    [[nodiscard]] constexpr std::size_t size() const noexcept { return std::size_t{m_width} * m_height; }
    /** \return the first pixel, for loops over all of them */
    [[nodiscard]] constexpr const T* begin() const noexcept { return m_data; }
    /** \return behind the last pixel */
    [[nodiscard]] constexpr const T* end() const noexcept { return m_data + size(); }
    /**
     * \param y  the row, from 0 at the top
     * \return its first pixel; null for a row that the image has not got
     */
    [[nodiscard]] constexpr const T* row(std::uint32_t y) const noexcept {
        return y < m_height ? m_data + std::size_t{y} * m_width : nullptr;
    }

private:
    const T* m_data = nullptr;
    std::uint32_t m_width = 0;
    std::uint32_t m_height = 0;
};

/** The three planes of a color image, of one size. */
struct ColorView {
    ImageView<std::uint8_t> red;   /**< 0 to 255 */
    ImageView<std::uint8_t> green; /**< 0 to 255 */
    ImageView<std::uint8_t> blue;  /**< 0 to 255 */
};

/** What is wanted of a point cloud. Points are floats. */
struct CloudOptions {
    Sensor frameOf = Sensor::Depth; /**< in whose frame the points are */
    bool isOrganised =
        true; /**< a point for each pixel of the depth image, zeros where there is none; else those there are */
    bool hasColors = false;  /**< with the colors of the color image */
    bool hasNormals = false; /**< with normals */
};

/** Points of a frame. Owns nothing: valid until the next points of the same camera, or until that is closed. */
class CloudView {
public:
    /** No points. */
    CloudView() noexcept = default;
    /** \param record  what OX3D_RGBD_MapFrameToPointCloud filled, of floats with colors beside or none */
    explicit CloudView(const OX3D_RGBD_CLOUD& record) noexcept : m_record(record) {}

    /** \return points that are stored */
    [[nodiscard]] std::size_t size() const noexcept { return m_record.nCount; }
    /** \return points that there are: size(), but for an organised cloud */
    [[nodiscard]] std::size_t validCount() const noexcept { return m_record.nValid; }
    /** \return pixels of a row of an organised cloud, else size() */
    [[nodiscard]] std::uint32_t width() const noexcept { return m_record.nWidth; }
    /** \return rows of an organised cloud, else 1 */
    [[nodiscard]] std::uint32_t height() const noexcept { return m_record.nHeight; }
    /** \return the first point, for loops over all of them */
    [[nodiscard]] const Point* begin() const noexcept { return static_cast<const Point*>(m_record.pPoints); }
    /** \return behind the last point */
    [[nodiscard]] const Point* end() const noexcept { return begin() + size(); }
    /** \return size() colors; null when they were not asked for */
    [[nodiscard]] const Color* colors() const noexcept {
        return reinterpret_cast<const Color*>(m_record.pColors);
    }
    /** \return size() normals, zeros where there is none; null when they were not asked for */
    [[nodiscard]] const Point* normals() const noexcept {
        return reinterpret_cast<const Point*>(m_record.pNormals);
    }
    /** \return the C record */
    [[nodiscard]] const OX3D_RGBD_CLOUD& record() const noexcept { return m_record; }

private:
    OX3D_RGBD_CLOUD m_record = {};
};

class Camera;
class Frame;
class FrameRange;
namespace detail {
class Device;
}

/**
 * A frame where the library keeps it. Owns nothing: after a fetch it is valid until the next one, in a callback until that
 * returns, and never longer than its camera is open; copy() keeps it. What a Frame gives out is valid as long as that.
 */
class FrameView {
public:
    /** No frame: no images. */
    FrameView() noexcept = default;

    /** \return as the camera counts, from 1 after a start; a gap is frames that were lost */
    [[nodiscard]] std::uint32_t number() const noexcept { return first().nFrameNum; }
    /** \return ticks of the device's clock */
    [[nodiscard]] std::uint64_t timeStamp() const noexcept { return first().nTimeStamp; }
    /** \return images of the frame, at most OX3D_RGBD_MAX_IMAGES */
    [[nodiscard]] std::uint32_t imageCount() const noexcept {
        return m_record.nImageCount < OX3D_RGBD_MAX_IMAGES ? m_record.nImageCount : OX3D_RGBD_MAX_IMAGES;
    }
    /** \return the C record, for functions of the C interface; its data is the library's */
    [[nodiscard]] const OX3D_RGBD_FRAME_DATA& record() const noexcept {
        return m_copy == nullptr ? m_record : *m_copy;
    }

    /**
     * Any image, in the order of the record.
     * \param index  from 0
     * \return OX3D_RGBD_E_NO_DATA when there is none of that index; else as ImageView::of
     */
    template <class T>
    [[nodiscard]] Result<ImageView<T>> image(std::uint32_t index) const noexcept {
        if (index >= imageCount()) {
            return Status(OX3D_RGBD_E_NO_DATA);
        }
        return ImageView<T>::of(m_record.stImageData[index]);
    }
    /** \return depth in millimetres, 0 is none; OX3D_RGBD_E_NO_DATA without such an image, else as ImageView::of */
    [[nodiscard]] Result<ImageView<std::uint16_t>> depth() const noexcept {
        return image<std::uint16_t>(find(OX3D_RGBD_PIXEL_DEPTH16));
    }
    /** \return the planes of color; OX3D_RGBD_E_NO_DATA without such an image, else as ImageView::of */
    [[nodiscard]] Result<ColorView> color() const noexcept {
        const std::uint32_t index = find(OX3D_RGBD_PIXEL_RGB8_PLANAR);
        if (index >= imageCount()) {
            return Status(OX3D_RGBD_E_NO_DATA);
        }
        using Plane = ImageView<std::uint8_t>;
        const OX3D_RGBD_IMAGE_DATA& image = m_record.stImageData[index];
        const Result<Plane> red = Plane::of(image, 0, 3);
        const Result<Plane> green = Plane::of(image, 1, 3);
        const Result<Plane> blue = Plane::of(image, 2, 3);
        return red && green && blue ? Result<ColorView>({*red, *green, *blue}) : red.error();
    }
    /** \return color and depth interleaved ("OutputRgbd"); OX3D_RGBD_E_NO_DATA without such an image, else as ImageView::of */
    [[nodiscard]] Result<ImageView<RgbdPixel>> rgbd() const noexcept {
        return image<RgbdPixel>(find(OX3D_RGBD_PIXEL_RGBD));
    }

    /**
     * Copies the frame with its images.
     * \return the copy, the caller's; OX3D_RGBD_E_PARAMETER when the library does not know the frame (any more)
     */
    [[nodiscard]] Result<Frame> copy() const noexcept;
    /** \return when the frame arrived and was taken, ns of UTC; OX3D_RGBD_E_PARAMETER as copy(). A Frame asks Camera::times. */
    [[nodiscard]] Result<OX3D_RGBD_FRAME_TIMES> times() const noexcept { return timesBy(m_handle); }
    /**
     * \param options  what is wanted
     * \return the points, valid until the next ones of the camera; statuses of OX3D_RGBD_MapFrameToPointCloud. A Frame asks
     *         Camera::points.
     */
    [[nodiscard]] Result<CloudView> points(const CloudOptions& options = {}) const noexcept {
        return pointsBy(m_handle, options);
    }

private:
    friend class Camera;
    friend class Frame;
    friend class FrameRange;
    friend class detail::Device;

    explicit FrameView(void* handle) noexcept : m_handle(handle) {}
    FrameView(void* handle, const OX3D_RGBD_FRAME_DATA& record) noexcept
        : m_handle(handle), m_record(record) {}
    explicit FrameView(const OX3D_RGBD_FRAME_DATA* copy) noexcept : m_copy(copy), m_record(*copy) {}

    [[nodiscard]] OX3D_RGBD_IMAGE_DATA first() const noexcept {
        return m_record.nImageCount > 0 ? m_record.stImageData[0] : OX3D_RGBD_IMAGE_DATA{};
    }
    [[nodiscard]] std::uint32_t find(std::uint32_t type) const noexcept {
        std::uint32_t index = 0;
        while (index < imageCount() && m_record.stImageData[index].enImageType != type) {
            ++index;
        }
        return index;
    }
    [[nodiscard]] Result<OX3D_RGBD_FRAME_TIMES> timesBy(void* handle) const noexcept {
        OX3D_RGBD_FRAME_TIMES times = {};
        const Status status(OX3D_RGBD_GetFrameTimes(handle, &record(), &times));
        return status ? Result<OX3D_RGBD_FRAME_TIMES>(times) : status;
    }
    [[nodiscard]] Result<CloudView> pointsBy(void* handle, const CloudOptions& options) const noexcept {
        OX3D_RGBD_CLOUD_OPTIONS wanted = {};
        wanted.nCamera = static_cast<std::uint32_t>(options.frameOf);
        wanted.nLayout = options.isOrganised ? OX3D_RGBD_CLOUD_ORGANISED : OX3D_RGBD_CLOUD_VALID;
        wanted.nColor = options.hasColors ? OX3D_RGBD_CLOUD_COLOR_BESIDE : OX3D_RGBD_CLOUD_NO_COLOR;
        wanted.nNormals = options.hasNormals ? 1 : 0;
        OX3D_RGBD_CLOUD cloud = {};
        const Status status(OX3D_RGBD_MapFrameToPointCloud(handle, &record(), &wanted, &cloud));
        return status ? Result<CloudView>(CloudView(cloud)) : status;
    }

    void* m_handle = nullptr;
    const OX3D_RGBD_FRAME_DATA* m_copy = nullptr; // the library knows a copy by its address
    OX3D_RGBD_FRAME_DATA m_record = {};
};

/** A frame of one's own, with its images: stays when the camera has its next frame or is closed. Moves, does not copy. */
class Frame {
public:
    /** No frame. */
    Frame() noexcept = default;
    /** \param other  is no frame afterwards */
    Frame(Frame&& other) noexcept
        : m_copy(std::exchange(other.m_copy, nullptr)), m_view(std::exchange(other.m_view, {})) {}
    /**
     * \param other  is no frame afterwards
     * \return this
     */
    Frame& operator=(Frame&& other) noexcept {
        Frame former(std::move(other));
        std::swap(m_copy, former.m_copy);
        std::swap(m_view, former.m_view);
        return *this;
    }
    ~Frame() {
        if (m_copy != nullptr) {
            OX3D_RGBD_FreeFrame(m_copy);
        }
    }

    /** \return the frame's numbers and images, valid as long as this */
    const FrameView& operator*() const noexcept { return m_view; }
    /** \return the frame's numbers and images, valid as long as this */
    const FrameView* operator->() const noexcept { return &m_view; }

private:
    friend class FrameView;
    explicit Frame(OX3D_RGBD_FRAME_DATA* copy) noexcept : m_copy(copy), m_view(copy) {}

    OX3D_RGBD_FRAME_DATA* m_copy = nullptr;
    FrameView m_view;
};

inline Result<Frame> FrameView::copy() const noexcept {
    OX3D_RGBD_FRAME_DATA* copy = nullptr;
    const Status status(OX3D_RGBD_CopyFrame(m_handle, &record(), &copy));
    return status ? Result<Frame>(Frame(copy)) : status;
}

/** What a camera says of itself when it is listed or opened. */
class DeviceInfo {
public:
    /** Nobody's. */
    DeviceInfo() noexcept = default;
    /** \param record  the C record */
    explicit DeviceInfo(const OX3D_RGBD_DEVICE_INFO& record) noexcept : m_record(record) {}

    /** \return the serial number, for Camera::openSerial */
    [[nodiscard]] std::string serial() const { return text(m_record.chSerialNumber); }
    /** \return the model's name */
    [[nodiscard]] std::string model() const { return text(m_record.chModelName); }
    /** \return the maker's name */
    [[nodiscard]] std::string manufacturer() const { return text(m_record.chManufacturerName); }
    /** \return the version of the device, its firmware's as a rule */
    [[nodiscard]] std::string version() const { return text(m_record.chDeviceVersion); }
    /** \return the name that a user gave it */
    [[nodiscard]] std::string userName() const { return text(m_record.chUserDefinedName); }
    /** \return dotted decimal; empty for a USB device */
    [[nodiscard]] std::string ip() const { return isUsb() ? std::string() : text(m_record.chCurrentIp); }
    /** \return whether it is on USB, else on Ethernet */
    [[nodiscard]] bool isUsb() const noexcept { return m_record.nDeviceType == OX3D_RGBD_DEVICE_USB; }
    /** \return the C record */
    [[nodiscard]] const OX3D_RGBD_DEVICE_INFO& record() const noexcept { return m_record; }

private:
    template <std::size_t N>
    static std::string text(const char (&field)[N]) {
        return std::string(field, ::strnlen(field, N));
    }

    OX3D_RGBD_DEVICE_INFO m_record = {};
};

/**
 * Lists the cameras present. Asks the network, which takes as long as the provider waits for answers.
 * \param deviceType  OX3D_RGBD_DEVICE_*
 * \return OX3D_RGBD_E_PARAMETER for another type, OX3D_RGBD_E_LOAD_LIBRARY without a camera-control library
 */
[[nodiscard]] inline Result<std::vector<DeviceInfo>> list(std::uint32_t deviceType = OX3D_RGBD_DEVICE_ALL) {
    constexpr std::uint32_t kCapacity = 256; // as many as a camera-control library can list
    std::vector<OX3D_RGBD_DEVICE_INFO> records(kCapacity);
    std::uint32_t count = 0;
    const Status status(OX3D_RGBD_GetDeviceList(deviceType, records.data(), kCapacity, &count));
    if (!status) {
        return status;
    }
    std::vector<DeviceInfo> devices;
    devices.reserve(count);
    for (std::uint32_t i = 0; i < count; ++i) {
        devices.emplace_back(records[i]);
    }
    return devices;
}

/** What the classes are made of; not for programs. */
namespace detail {

/** The two callbacks of a device. */
enum Kind : std::size_t { kFrames, kExceptions };

/** What an application wants called. */
struct Listener {
    virtual ~Listener() = default;
    /**
     * \param handle  the device
     * \param record  what the C callback was given
     */
    virtual void hear(void* handle, void* record) = 0;
    /** Its Subscription is gone. Guarded by the device's mutex. */
    bool isRemoved = false;
};

/**
 * An open device, shared by its Camera and, while they use it, by subscriptions and ranges. The C library knows one function
 * for each kind and this object; which listener is called is decided here, so that callbacks that are exchanged by several
 * threads at once never leave a pointer to what is gone. The mutex is never held during a call of the library.
 */
class Device : public std::enable_shared_from_this<Device> {
public:
    /** \param handle  an open device, closed by this */
    explicit Device(void* handle) noexcept : m_handle(handle) {}
    Device(const Device&) = delete;
    Device& operator=(const Device&) = delete;
    ~Device() {
        if (m_handle != nullptr) {
            OX3D_RGBD_CloseDevice(&m_handle);
        }
    }

    /** \return the C handle */
    [[nodiscard]] void* handle() const noexcept { return m_handle; }

    /**
     * Makes a listener the one that is called, in place of a former one.
     * \param kind      of the callback
     * \param listener  kept until it is removed or replaced
     * \return the library's status
     */
    [[nodiscard]] Status listen(Kind kind, const std::shared_ptr<Listener>& listener) {
        std::shared_ptr<Listener> former;
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            former = std::exchange(m_listeners[kind], listener);
        }
        const Status status = apply(kind);
        if (!status) {
            const std::lock_guard<std::mutex> lock(m_mutex);
            if (m_listeners[kind] == listener) {
                m_listeners[kind] = former != nullptr && !former->isRemoved ? former : nullptr;
            }
        }
        return status;
    }
    /**
     * Returns when the listener is not called any more, but for the call that this may be inside of.
     * \param kind      of the callback
     * \param listener  what is no longer wanted
     */
    void remove(Kind kind, const std::shared_ptr<Listener>& listener) {
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            listener->isRemoved = true;
            if (m_listeners[kind] == listener) {
                m_listeners[kind] = nullptr;
            }
        }
        (void)apply(kind); // a failure is settled when the stream has stopped
    }
    /** Takes back what could not be unregistered while the stream was being stopped. */
    void settle() {
        for (const Kind kind : {kFrames, kExceptions}) {
            if (m_isOwed[kind].exchange(false)) {
                (void)apply(kind);
            }
        }
    }

    /**
     * \param isToRemove  for taking a callback away, which a close that has begun does not rule out
     * \return whether the device may be used until leave(), by whoever is not its Camera
     */
    [[nodiscard]] bool enter(bool isToRemove) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        const bool isOpen = isToRemove ? !m_isClosed : !m_isClosing;
        m_users += isOpen ? 1 : 0;
        return isOpen;
    }
    /** Ends enter(). */
    void leave() {
        const std::lock_guard<std::mutex> lock(m_mutex);
        --m_users;
        if (m_isClosing) {
            m_left.notify_all();
        }
    }

    /** Ends callbacks and closes the device; from inside a callback the device is closed when that has returned. */
    void close() {
        std::array<std::shared_ptr<Listener>, 2> gone;
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_isClosing = true;
            gone.swap(m_listeners);
        }
        for (const Kind kind : {kFrames, kExceptions}) {
            if (gone[kind] != nullptr) {
                (void)apply(kind);
            }
        }
        if (t_inside == this) {
            return;
        }
        std::unique_lock<std::mutex> lock(m_mutex);
        m_left.wait(lock, [this] { return m_users == 0; });
        m_isClosed = true;
        lock.unlock();
        OX3D_RGBD_CloseDevice(&m_handle);
    }

private:
    // While this thread is in a callback of the device.
    class Inside {
    public:
        explicit Inside(const Device* device) noexcept : m_outer(std::exchange(t_inside, device)) {}
        Inside(const Inside&) = delete;
        Inside& operator=(const Inside&) = delete;
        ~Inside() { t_inside = m_outer; }

    private:
        const Device* m_outer;
    };

    [[nodiscard]] bool isWanted(Kind kind) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_listeners[kind] != nullptr;
    }
    // Registers what is wanted, and again when another thread came to want something else meanwhile. The library returns
    // after a call in flight has ended.
    [[nodiscard]] Status apply(Kind kind) {
        for (;;) {
            const bool isOn = isWanted(kind);
            const Status status(
                kind == kFrames
                    ? OX3D_RGBD_RegisterFrameCallBack(m_handle, isOn ? &onFrame : nullptr, this)
                    : OX3D_RGBD_RegisterExceptionCallBack(m_handle, isOn ? &onException : nullptr, this));
            if (!status && !isOn) {
                m_isOwed[kind] = true;
            }
            if (!status || isWanted(kind) == isOn) {
                return status;
            }
        }
    }
    static void onFrame(OX3D_RGBD_FRAME_DATA* frame, void* user) {
        static_cast<Device*>(user)->deliver(kFrames, frame);
    }
    static void onException(OX3D_RGBD_EXCEPTION_INFO* info, void* user) {
        static_cast<Device*>(user)->deliver(kExceptions, info);
    }
    void deliver(Kind kind, void* record) {
        const std::shared_ptr<Device> self = weak_from_this().lock(); // the callback may destroy the camera
        std::shared_ptr<Listener> listener;                           // and its own subscription
        if (self != nullptr) {
            const std::lock_guard<std::mutex> lock(m_mutex);
            listener = m_listeners[kind];
        }
        if (listener != nullptr) {
            const Inside inside(this); // the listener may throw, which the library catches
            listener->hear(m_handle, record);
        }
    }

    static inline thread_local const Device* t_inside = nullptr; // whose callback this thread is in
    void* m_handle;
    std::array<std::atomic<bool>, 2> m_isOwed = {};
    std::mutex m_mutex; // guards all below
    std::condition_variable m_left;
    std::array<std::shared_ptr<Listener>, 2> m_listeners;
    std::size_t m_users = 0;
    bool m_isClosing = false;
    bool m_isClosed = false;
};

/** A number for a feature. */
struct Number {
    bool isWhole;       /**< which of the two it is */
    std::int64_t whole; /**< where it is whole */
    double real;        /**< where it is not */
};

/**
 * \param value  any number
 * \return whether T has it
 */
template <class T>
[[nodiscard]] constexpr bool fits(std::int64_t value) noexcept {
    if constexpr (std::is_unsigned_v<T>) {
        return value >= 0 && static_cast<std::uint64_t>(value) <= std::numeric_limits<T>::max();
    } else {
        return value >= std::numeric_limits<T>::min() && value <= std::numeric_limits<T>::max();
    }
}

/**
 * Puts a number into the member that a feature's type asks for.
 * \param number  the number
 * \param param   in: the type; out: the value
 * \return whether the type takes it
 */
[[nodiscard]] inline bool put(const Number& number, OX3D_RGBD_PARAM* param) noexcept {
    const double real = number.isWhole ? static_cast<double>(number.whole) : number.real;
    constexpr double kEnd = 9223372036854775808.0; // of what 64 bits hold
    const bool isWhole = number.isWhole || (real >= -kEnd && real < kEnd && std::floor(real) == real);
    const std::int64_t whole = number.isWhole || !isWhole ? number.whole : static_cast<std::int64_t>(real);
    switch (param->enParamType) {
    case OX3D_RGBD_PARAM_BOOL:
        param->bBoolValue = whole == 1 ? 1 : 0;
        return isWhole && (whole == 0 || whole == 1);
    case OX3D_RGBD_PARAM_INT:
        param->stIntParam.nCurValue = whole;
        return isWhole;
    case OX3D_RGBD_PARAM_ENUM:
        param->stEnumParam.nCurValue = static_cast<std::uint32_t>(whole);
        return isWhole && fits<std::uint32_t>(whole);
    case OX3D_RGBD_PARAM_FLOAT:
        if (!(std::fabs(real) <= static_cast<double>(FLT_MAX))) {
            return false;
        }
        param->stFloatParam.fCurValue = static_cast<float>(real);
        return true;
    default:
        return false;
    }
}

} // namespace detail

/**
 * A callback that is registered. Its end takes the callback away: it returns after a call in flight has returned and none
 * begins afterwards, so that what the callback uses may go; from inside a callback of the camera it does not wait. It may
 * outlive its camera, whose end takes the callback away as well.
 */
class Subscription {
public:
    /** No callback. */
    Subscription() noexcept = default;
    /** \param other  has no callback afterwards */
    Subscription(Subscription&& other) noexcept = default;
    /**
     * \param other  has no callback afterwards; the one that this has had is taken away
     * \return this
     */
    Subscription& operator=(Subscription&& other) noexcept {
        if (this != &other) {
            reset();
            m_device = std::move(other.m_device);
            m_listener = std::move(other.m_listener);
            m_kind = other.m_kind;
        }
        return *this;
    }
    ~Subscription() { reset(); }

    /** Takes the callback away, as the destructor does. */
    void reset() noexcept {
        const std::shared_ptr<detail::Device> device = std::exchange(m_device, {}).lock();
        const std::shared_ptr<detail::Listener> listener = std::exchange(m_listener, nullptr);
        if (listener != nullptr && device != nullptr && device->enter(true)) {
            device->remove(m_kind, listener);
            device->leave();
        }
    }

private:
    friend class Camera;
    Subscription(const std::shared_ptr<detail::Device>& device, std::shared_ptr<detail::Listener> listener,
                 detail::Kind kind) noexcept
        : m_device(device), m_listener(std::move(listener)), m_kind(kind) {}

    std::weak_ptr<detail::Device> m_device;
    std::shared_ptr<detail::Listener> m_listener;
    detail::Kind m_kind = detail::kFrames;
};

/** How long a fetch waits where nothing else is said. */
constexpr std::chrono::milliseconds kFetchTimeout{2000};
/** Waits for ever; a stop or close of the camera then waits as well. */
constexpr std::chrono::milliseconds kForever{0xFFFFFFFF};

/**
 * Frames of a camera for a range-for, one fetch each. Ends at the first fetch that fails; status() says why. Each frame is valid
 * until the next one. The camera may be moved or closed meanwhile: that ends the range.
 */
class FrameRange {
public:
    /** Fetches as it goes; an input iterator. */
    class iterator {
    public:
        using iterator_category = std::input_iterator_tag; /**< each frame is seen once */
        using value_type = FrameView;                      /**< a frame */
        using difference_type = std::ptrdiff_t;            /**< of no use here */
        using pointer = const FrameView*;                  /**< a frame */
        using reference = const FrameView&;                /**< a frame */

        /** The end. */
        iterator() noexcept = default;
        /** \return the frame, until the next one is fetched */
        reference operator*() const noexcept { return m_range->m_frame; }
        /** \return the frame, until the next one is fetched */
        pointer operator->() const noexcept { return &m_range->m_frame; }
        /**
         * Waits for the next frame.
         * \return this
         */
        iterator& operator++() noexcept {
            m_range = m_range->next() ? m_range : nullptr;
            return *this;
        }
        /** Waits for the next frame. */
        void operator++(int) noexcept { ++*this; }
        /** \return whether both are at the end, or neither is */
        friend bool operator==(const iterator& left, const iterator& right) noexcept {
            return left.m_range == right.m_range;
        }
        /** \return whether one is at the end */
        friend bool operator!=(const iterator& left, const iterator& right) noexcept {
            return !(left == right);
        }

    private:
        friend class FrameRange;
        explicit iterator(FrameRange* range) noexcept : m_range(range) {}
        FrameRange* m_range = nullptr;
    };

    /** \return the first frame, which is waited for */
    [[nodiscard]] iterator begin() noexcept { return iterator(next() ? this : nullptr); }
    /** \return where a fetch has failed */
    [[nodiscard]] iterator end() const noexcept { return {}; }
    /** \return of the last fetch: why the loop has ended */
    [[nodiscard]] Status status() const noexcept { return m_status; }

private:
    friend class Camera;
    FrameRange(const std::shared_ptr<detail::Device>& device, std::uint32_t timeoutMs) noexcept
        : m_device(device), m_timeoutMs(timeoutMs) {}

    bool next() noexcept {
        m_status = Status(OX3D_RGBD_E_HANDLE);
        const std::shared_ptr<detail::Device> device = m_device.lock();
        if (device != nullptr && device->enter(false)) {
            m_frame.m_handle = device->handle();
            m_status = Status(OX3D_RGBD_FetchFrame(device->handle(), &m_frame.m_record, m_timeoutMs));
            device->leave();
        }
        return static_cast<bool>(m_status);
    }

    std::weak_ptr<detail::Device> m_device;
    std::uint32_t m_timeoutMs;
    Status m_status;
    FrameView m_frame;
};

/** An open camera, closed by its end. Moves, does not copy; what was moved from answers OX3D_RGBD_E_HANDLE. */
class Camera {
public:
    /** No camera. */
    Camera() noexcept = default;
    /** \param other  has no camera afterwards */
    Camera(Camera&& other) noexcept = default;
    /**
     * \param other  has no camera afterwards; the one that this has had is closed
     * \return this
     */
    Camera& operator=(Camera&& other) noexcept {
        if (this != &other) {
            close();
            m_device = std::move(other.m_device);
        }
        return *this;
    }
    ~Camera() { close(); }

    /** \return the first camera found; statuses of OX3D_RGBD_OpenDevice */
    [[nodiscard]] static Result<Camera> open() noexcept {
        return opened([](void** handle) { return OX3D_RGBD_OpenDevice(handle, nullptr); });
    }
    /**
     * \param info  of list()
     * \return the camera of that serial number; statuses of OX3D_RGBD_OpenDevice
     */
    [[nodiscard]] static Result<Camera> open(const DeviceInfo& info) noexcept {
        OX3D_RGBD_DEVICE_INFO record = info.record();
        return opened([&record](void** handle) { return OX3D_RGBD_OpenDevice(handle, &record); });
    }
    /**
     * \param serial  its serial number
     * \return the camera; OX3D_RGBD_E_PARAMETER when there is none, OX3D_RGBD_E_CAMERA_0E when another program holds it
     */
    [[nodiscard]] static Result<Camera> openSerial(TextArg serial) noexcept {
        return opened(
            [serial](void** handle) { return OX3D_RGBD_OpenDeviceBySerialNumber(handle, serial.get()); });
    }
    /**
     * \param ip  its address, dotted decimal
     * \return as openSerial
     */
    [[nodiscard]] static Result<Camera> openIp(TextArg ip) noexcept {
        return opened([ip](void** handle) { return OX3D_RGBD_OpenDeviceByIp(handle, ip.get()); });
    }

    /** \return whether there is a camera */
    explicit operator bool() const noexcept { return m_device != nullptr; }
    /** \return for functions of the C interface, valid until the camera is closed; null without a camera */
    [[nodiscard]] void* handle() const noexcept { return m_device == nullptr ? nullptr : m_device->handle(); }
    /**
     * Stops, takes callbacks away and closes the camera, as the destructor does. Waits for a callback that runs and for a fetch
     * of a range; from inside a callback of the camera it returns at once, and the camera is closed afterwards.
     */
    void close() noexcept {
        if (const std::shared_ptr<detail::Device> device = std::exchange(m_device, nullptr)) {
            device->close();
        }
    }
    /** \return the camera's record */
    [[nodiscard]] Result<DeviceInfo> info() const noexcept {
        OX3D_RGBD_DEVICE_INFO record = {};
        const Status status(OX3D_RGBD_GetDeviceInfo(handle(), &record));
        return status ? Result<DeviceInfo>(DeviceInfo(record)) : status;
    }

    /** Begins to stream. \return OX3D_RGBD_E_STATE when it already does */
    Status start() noexcept { return Status(OX3D_RGBD_Start(handle())); }
    /** Ends the stream. \return OX3D_RGBD_E_STATE when there is none */
    Status stop() noexcept {
        const Status status(OX3D_RGBD_Stop(handle()));
        if (m_device != nullptr) {
            m_device->settle();
        }
        return status;
    }
    /** Takes one frame; the camera stays in software trigger mode. \return the camera's status */
    Status trigger() noexcept { return Status(OX3D_RGBD_SoftTrigger(handle())); }

    /**
     * Waits for the next frame.
     * \param timeout  how long; below 0 counts as 0, kForever and more as for ever
     * \return the frame, valid until the next fetch; OX3D_RGBD_E_NO_DATA when none came in time, OX3D_RGBD_E_STATE when the
     *         camera does not stream or a callback gets the frames
     */
    [[nodiscard]] Result<FrameView> fetch(std::chrono::milliseconds timeout = kFetchTimeout) noexcept {
        Result<FrameView> frame{FrameView(handle())};
        const Status status(OX3D_RGBD_FetchFrame(handle(), &frame->m_record, milliseconds(timeout)));
        if (!status) {
            frame = status;
        }
        return frame;
    }
    /**
     * \param timeout  how long each fetch waits
     * \return frames for a range-for, one after the other until a fetch fails
     */
    [[nodiscard]] FrameRange frames(std::chrono::milliseconds timeout = kFetchTimeout) noexcept {
        return {m_device, milliseconds(timeout)};
    }
    /**
     * Has frames delivered to a function in place of fetches, and of a former function, whose Subscription is without effect
     * then. It runs on a thread of the provider, one frame at a time, and may call all functions of the camera.
     * \param function  called with a const FrameView&, which is valid until it returns; moved or copied into the library's
     *                  keeping until the Subscription ends or the camera is closed
     * \return what takes it away; a result that is dropped does so at once
     */
    template <class Function>
    [[nodiscard]] Result<Subscription> onFrame(Function&& function) {
        return listen<FrameListener<std::decay_t<Function>>>(detail::kFrames,
                                                             std::forward<Function>(function));
    }
    /**
     * Has the loss of the camera told to a function, in place of a former one. It runs on a thread of the library or the
     * provider.
     * \param function  called with a std::uint32_t: OX3D_RGBD_EXCEPTION_*
     * \return as onFrame
     */
    template <class Function>
    [[nodiscard]] Result<Subscription> onException(Function&& function) {
        return listen<ExceptionListener<std::decay_t<Function>>>(detail::kExceptions,
                                                                 std::forward<Function>(function));
    }

    /**
     * The points of a frame, whatever the switches are.
     * \param frame    a view of this camera, or a Frame of any camera
     * \param options  what is wanted
     * \return valid until the next points of this camera; statuses of OX3D_RGBD_MapFrameToPointCloud
     */
    [[nodiscard]] Result<CloudView> points(const FrameView& frame,
                                           const CloudOptions& options = {}) const noexcept {
        return frame.pointsBy(handle(), options);
    }
    /**
     * When a frame arrived and was taken.
     * \param frame  a view of this camera, or a Frame of any camera
     * \return nanoseconds of UTC; OX3D_RGBD_E_PARAMETER when the library does not know the frame (any more)
     */
    [[nodiscard]] Result<OX3D_RGBD_FRAME_TIMES> times(const FrameView& frame) const noexcept {
        return frame.timesBy(handle());
    }

    /**
     * Reads a feature as T: bool, a number, or std::string, which is a text or the name of an enumeration's entry.
     * \param name  its GenICam name, or a key of the library
     * \return OX3D_RGBD_E_PARAMETER for a feature that the camera has not got, of a type that does not become a T, or with a
     *         value that a T has not got
     */
    template <class T>
    [[nodiscard]] Result<T> get(TextArg name) const {
        static_assert(std::is_arithmetic_v<T> || std::is_same_v<T, std::string>,
                      "bool, a number or std::string");
        OX3D_RGBD_PARAM param = {};
        const Status status(OX3D_RGBD_GetParam(handle(), name.get(), &param));
        if (!status) {
            return status;
        }
        if constexpr (std::is_same_v<T, std::string>) {
            return param.enParamType == OX3D_RGBD_PARAM_ENUM ? entry(name, param.stEnumParam.nCurValue)
                                                             : text(param);
        } else {
            return number<T>(param);
        }
    }
    /**
     * Writes a feature, in its own type: its type is asked for first. A whole number may become a float, and the other way
     * where nothing is lost; 0 and 1 become a bool; a text sets a string or an entry of an enumeration by its name.
     * \param name   its GenICam name, or a key of the library
     * \param value  bool, a number or a text
     * \return OX3D_RGBD_E_PARAMETER for a feature or entry that the camera has not got, or a value that its type does not take;
     *         OX3D_RGBD_E_CAMERA_0F for one out of its range
     */
    template <class T>
    Status set(TextArg name, const T& value) noexcept {
        if constexpr (std::is_floating_point_v<T>) {
            return setNumber(name, {false, 0, static_cast<double>(value)});
        } else if constexpr (std::is_integral_v<T>) {
            if (std::is_unsigned_v<T> &&
                static_cast<std::uint64_t>(value) > std::numeric_limits<std::int64_t>::max()) {
                return Status(OX3D_RGBD_E_PARAMETER);
            }
            return setNumber(name, {true, static_cast<std::int64_t>(value), 0});
        } else {
            return setText(name, value);
        }
    }
    /**
     * Executes a command feature.
     * \param name  its GenICam name
     * \return OX3D_RGBD_E_PARAMETER for one that the camera has not got
     */
    Status run(TextArg name) noexcept { return Status(OX3D_RGBD_Execute(handle(), name.get())); }
    /** \return the features that the camera has, with value, range, unit and description; OX3D_RGBD_E_NO_DATA where its
     * description cannot be read */
    [[nodiscard]] Result<std::vector<OX3D_RGBD_FEATURE>> features() const {
        return all<OX3D_RGBD_FEATURE>(
            [this](OX3D_RGBD_FEATURE* records, std::uint32_t capacity, std::uint32_t* count) {
                return OX3D_RGBD_GetFeatures(handle(), nullptr, records, capacity, count);
            });
    }

    /**
     * The calibration of one sensor, of the camera's own image.
     * \param sensor  whose
     * \return pixels; OX3D_RGBD_E_NO_DATA when the calibration file or a part of it is missing
     */
    [[nodiscard]] Result<OX3D_RGBD_CALIB_INFO> calibration(Sensor sensor) const noexcept {
        OX3D_RGBD_CALIB_INFO record = {};
        const std::uint32_t type = sensor == Sensor::Depth ? OX3D_RGBD_CALIB_DEPTH : OX3D_RGBD_CALIB_COLOR;
        const Status status(OX3D_RGBD_GetCalibInfo(handle(), type, &record));
        return status ? Result<OX3D_RGBD_CALIB_INFO>(record) : status;
    }
    /**
     * The lens of a stream as it is delivered, registered and scaled as the switches say.
     * \param sensor  whose
     * \return pixels; OX3D_RGBD_E_NO_DATA when it is not known
     */
    [[nodiscard]] Result<OX3D_RGBD_INTRINSICS> intrinsics(Sensor sensor) const noexcept {
        OX3D_RGBD_INTRINSICS record = {};
        const Status status(OX3D_RGBD_GetIntrinsics(handle(), static_cast<std::uint32_t>(sensor), &record));
        return status ? Result<OX3D_RGBD_INTRINSICS>(record) : status;
    }
    /**
     * The way from one camera's frame to the other's.
     * \param from  whose frame
     * \param to    whose frame
     * \return rotation and translation in millimetres; OX3D_RGBD_E_NO_DATA when it is not known
     */
    [[nodiscard]] Result<OX3D_RGBD_EXTRINSICS> extrinsics(Sensor from, Sensor to) const noexcept {
        OX3D_RGBD_EXTRINSICS record = {};
        const Status status(OX3D_RGBD_GetExtrinsics(handle(), static_cast<std::uint32_t>(from),
                                                    static_cast<std::uint32_t>(to), &record));
        return status ? Result<OX3D_RGBD_EXTRINSICS>(record) : status;
    }

private:
    template <class Function>
    struct FrameListener final : detail::Listener {
        template <class F>
        FrameListener(std::in_place_t /*tag*/, F&& f) : function(std::forward<F>(f)) {}
        void hear(void* handle, void* record) override {
            const FrameView frame(handle, *static_cast<const OX3D_RGBD_FRAME_DATA*>(record));
            function(frame);
        }
        Function function;
    };
    template <class Function>
    struct ExceptionListener final : detail::Listener {
        template <class F>
        ExceptionListener(std::in_place_t /*tag*/, F&& f) : function(std::forward<F>(f)) {}
        void hear(void* /*handle*/, void* record) override {
            function(std::uint32_t{static_cast<const OX3D_RGBD_EXCEPTION_INFO*>(record)->nExceptionId});
        }
        Function function;
    };

    template <class Open>
    static Result<Camera> opened(Open open) noexcept {
        void* handle = nullptr;
        const Status status(open(&handle));
        if (!status) {
            return status; // and the handle is dead
        }
        auto* const device = new (std::nothrow) detail::Device(handle);
        if (device == nullptr) {
            OX3D_RGBD_CloseDevice(&handle);
            return Status(OX3D_RGBD_E_MEMORY);
        }
        Camera camera;
        camera.m_device.reset(device);
        return camera;
    }
    template <class L, class Function>
    Result<Subscription> listen(detail::Kind kind, Function&& function) {
        if (m_device == nullptr) {
            return Status(OX3D_RGBD_E_HANDLE);
        }
        const std::shared_ptr<detail::Listener> listener =
            std::make_shared<L>(std::in_place, std::forward<Function>(function));
        const Status status = m_device->listen(kind, listener);
        return status ? Result<Subscription>(Subscription(m_device, listener, kind)) : status;
    }

    [[nodiscard]] static std::uint32_t milliseconds(std::chrono::milliseconds timeout) noexcept {
        const auto count = timeout.count() < 0 ? 0 : timeout.count();
        return count < kForever.count() ? static_cast<std::uint32_t>(count) : 0xFFFFFFFFu;
    }
    template <class T>
    [[nodiscard]] static Result<T> number(const OX3D_RGBD_PARAM& param) noexcept {
        std::int64_t whole = 0;
        switch (param.enParamType) {
        case OX3D_RGBD_PARAM_BOOL:
            whole = param.bBoolValue != 0 ? 1 : 0;
            break;
        case OX3D_RGBD_PARAM_INT:
            whole = param.stIntParam.nCurValue;
            break;
        case OX3D_RGBD_PARAM_ENUM:
            whole = param.stEnumParam.nCurValue;
            break;
        case OX3D_RGBD_PARAM_FLOAT:
            if constexpr (std::is_floating_point_v<T>) {
                return static_cast<T>(param.stFloatParam.fCurValue);
            }
            return Status(OX3D_RGBD_E_PARAMETER);
        default:
            return Status(OX3D_RGBD_E_PARAMETER);
        }
        if constexpr (!std::is_floating_point_v<T>) {
            if (!detail::fits<T>(whole)) {
                return Status(OX3D_RGBD_E_PARAMETER);
            }
        }
        return static_cast<T>(whole);
    }
    [[nodiscard]] static Result<std::string> text(const OX3D_RGBD_PARAM& param) {
        if (param.enParamType != OX3D_RGBD_PARAM_STRING) {
            return Status(OX3D_RGBD_E_PARAMETER);
        }
        const char* const field = param.stStringParam.chCurValue;
        return std::string(field, ::strnlen(field, OX3D_RGBD_MAX_STRING));
    }
    // The name of the entry that is set.
    [[nodiscard]] Result<std::string> entry(TextArg name, std::uint32_t value) const {
        using Entry = OX3D_RGBD_FEATURE_ENTRY;
        const Result<std::vector<Entry>> entries =
            all<Entry>([this, name](Entry* records, std::uint32_t capacity, std::uint32_t* count) {
                return OX3D_RGBD_GetFeatureEntries(handle(), name.get(), records, capacity, count);
            });
        if (!entries) {
            return entries.error();
        }
        for (const Entry& one : *entries) {
            if (one.nValue == value) {
                return std::string(one.chName);
            }
        }
        return Status(OX3D_RGBD_E_PARAMETER);
    }
    // All records of a list that tells how many there are.
    template <class Record, class Ask>
    [[nodiscard]] static Result<std::vector<Record>> all(Ask ask) {
        std::vector<Record> records(64);
        for (;;) {
            const auto capacity = static_cast<std::uint32_t>(records.size());
            std::uint32_t count = 0;
            const Status status(ask(records.data(), capacity, &count));
            if (!status) {
                return status;
            }
            records.resize(count);
            if (count <= capacity) {
                return records;
            }
        }
    }
    Status setNumber(TextArg name, const detail::Number& number) noexcept {
        OX3D_RGBD_PARAM param = {};
        const Status status(OX3D_RGBD_GetParam(handle(), name.get(), &param));
        if (status.code() == OX3D_RGBD_E_CAMERA_07) { // not to be read: then the value says which type it is
            param.enParamType = number.isWhole ? OX3D_RGBD_PARAM_INT : OX3D_RGBD_PARAM_FLOAT;
        } else if (!status) {
            return status;
        }
        return detail::put(number, &param) ? Status(OX3D_RGBD_SetParam(handle(), name.get(), &param))
                                           : Status(OX3D_RGBD_E_PARAMETER);
    }
    Status setText(TextArg name, TextArg value) noexcept {
        OX3D_RGBD_PARAM param = {};
        const Status status(OX3D_RGBD_GetParam(handle(), name.get(), &param));
        if (!status) {
            return status;
        }
        if (param.enParamType == OX3D_RGBD_PARAM_ENUM) {
            return Status(OX3D_RGBD_SetEnumByName(handle(), name.get(), value.get()));
        }
        char* const field = param.stStringParam.chCurValue;
        if (param.enParamType != OX3D_RGBD_PARAM_STRING || value.get() == nullptr ||
            ::strnlen(value.get(), OX3D_RGBD_MAX_STRING) == OX3D_RGBD_MAX_STRING) {
            return Status(OX3D_RGBD_E_PARAMETER);
        }
        std::memset(field, 0, OX3D_RGBD_MAX_STRING);
        std::memcpy(field, value.get(), std::strlen(value.get()));
        return Status(OX3D_RGBD_SetParam(handle(), name.get(), &param));
    }

    std::shared_ptr<detail::Device> m_device;
};

} // namespace v1
} // namespace ox3d

#endif // OX3D_HPP
