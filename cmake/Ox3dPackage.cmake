# How an installed library is found: find_package(Ox3dRgbd) and pkg-config ox3drgbd. Included after the
# targets Ox3dRgbd, MediaProcess and ox3d_headers exist.
include(CMakePackageConfigHelpers)

# The library's own folder puts it into the export set. The scaling library joins it, so that a linker that
# looks at the needed libraries of a shared library finds it too; its own folder installs its file as well.
set_target_properties(ox3d_headers PROPERTIES EXPORT_NAME Headers)
install(TARGETS ox3d_headers MediaProcess EXPORT Ox3dRgbdTargets
    LIBRARY DESTINATION ${OX3D_INSTALL_LIBDIR}
    INCLUDES DESTINATION ${OX3D_INSTALL_INCLUDEDIR} ${OX3D_INSTALL_INCLUDEDIR}/ox3drgbd)
install(EXPORT Ox3dRgbdTargets NAMESPACE Ox3dRgbd:: DESTINATION ${OX3D_INSTALL_CMAKEDIR})
# The same name for a project that takes this one in as a folder.
add_library(Ox3dRgbd::Ox3dRgbd ALIAS Ox3dRgbd)

configure_package_config_file(
    "${PROJECT_SOURCE_DIR}/cmake/Ox3dRgbdConfig.cmake.in" "${PROJECT_BINARY_DIR}/package/Ox3dRgbdConfig.cmake"
    INSTALL_DESTINATION ${OX3D_INSTALL_CMAKEDIR} PATH_VARS OX3D_INSTALL_PROVIDERDIR)
write_basic_package_version_file("${PROJECT_BINARY_DIR}/package/Ox3dRgbdConfigVersion.cmake"
    COMPATIBILITY SameMajorVersion)
file(RELATIVE_PATH OX3D_PREFIX_FROM_PKGCONFIG "/prefix/${OX3D_INSTALL_PKGCONFIGDIR}" "/prefix")
configure_file("${PROJECT_SOURCE_DIR}/cmake/ox3drgbd.pc.in" "${PROJECT_BINARY_DIR}/package/ox3drgbd.pc" @ONLY)

install(FILES "${PROJECT_BINARY_DIR}/package/Ox3dRgbdConfig.cmake"
    "${PROJECT_BINARY_DIR}/package/Ox3dRgbdConfigVersion.cmake" DESTINATION ${OX3D_INSTALL_CMAKEDIR})
install(FILES "${PROJECT_BINARY_DIR}/package/ox3drgbd.pc" DESTINATION ${OX3D_INSTALL_PKGCONFIGDIR})
install(FILES "${PROJECT_SOURCE_DIR}/LICENSE" "${PROJECT_SOURCE_DIR}/NOTICE" DESTINATION ${OX3D_INSTALL_DOCDIR})

# Removes what the last installation from this build folder put in place.
if(PROJECT_IS_TOP_LEVEL)
    add_custom_target(uninstall COMMAND "${CMAKE_COMMAND}"
        "-DMANIFEST=${PROJECT_BINARY_DIR}/install_manifest.txt" -P "${PROJECT_SOURCE_DIR}/cmake/Ox3dUninstall.cmake")
endif()
