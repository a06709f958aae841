# Finds libyuv, which ships no CMake package of its own on Debian. Gives the target LibYuv::LibYuv.
find_path(LibYuv_INCLUDE_DIR NAMES libyuv/scale.h)
find_library(LibYuv_LIBRARY NAMES yuv)
mark_as_advanced(LibYuv_INCLUDE_DIR LibYuv_LIBRARY)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(LibYuv REQUIRED_VARS LibYuv_LIBRARY LibYuv_INCLUDE_DIR
    REASON_FAILURE_MESSAGE "install the package libyuv-dev")

if(LibYuv_FOUND AND NOT TARGET LibYuv::LibYuv)
    add_library(LibYuv::LibYuv UNKNOWN IMPORTED)
    set_target_properties(LibYuv::LibYuv PROPERTIES
        IMPORTED_LOCATION "${LibYuv_LIBRARY}"
        INTERFACE_INCLUDE_DIRECTORIES "${LibYuv_INCLUDE_DIR}")
endif()
