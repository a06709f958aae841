# libyuv, whose Debian package has no file of its own by which CMake finds it: LibYuv::LibYuv.
find_path(LibYuv_INCLUDE_DIR NAMES libyuv/planar_functions.h)
find_library(LibYuv_LIBRARY NAMES yuv)
mark_as_advanced(LibYuv_INCLUDE_DIR LibYuv_LIBRARY)
include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(LibYuv REQUIRED_VARS LibYuv_LIBRARY LibYuv_INCLUDE_DIR)
if(LibYuv_FOUND AND NOT TARGET LibYuv::LibYuv)
    add_library(LibYuv::LibYuv UNKNOWN IMPORTED)
    set_target_properties(LibYuv::LibYuv PROPERTIES IMPORTED_LOCATION "${LibYuv_LIBRARY}"
        INTERFACE_INCLUDE_DIRECTORIES "${LibYuv_INCLUDE_DIR}")
endif()
