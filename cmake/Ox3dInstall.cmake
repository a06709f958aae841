# Where things are installed, below the prefix: the library folder is CMAKE_INSTALL_LIBDIR, on Debian the multiarch
# folder when the prefix is /usr. The build tree is laid out in the same way, so tests and tools find things where
# a user would.
include(GNUInstallDirs)

foreach(dir BINDIR INCLUDEDIR LIBDIR DATAROOTDIR)
    if(IS_ABSOLUTE "${CMAKE_INSTALL_${dir}}")
        message(FATAL_ERROR "CMAKE_INSTALL_${dir} must be relative to the prefix: what is installed can be moved")
    endif()
    set(OX3D_INSTALL_${dir} "${CMAKE_INSTALL_${dir}}")
endforeach()
set(OX3D_INSTALL_PROVIDERDIR ${OX3D_INSTALL_LIBDIR}/ox3drgbd)
set(OX3D_INSTALL_VIEWERDIR ${OX3D_INSTALL_PROVIDERDIR}/viewer)
set(OX3D_INSTALL_ROS2DIR ${OX3D_INSTALL_PROVIDERDIR}/ros2)
set(OX3D_INSTALL_PAGEDIR ${OX3D_INSTALL_DATAROOTDIR}/ox3drgbd/viewer)
set(OX3D_INSTALL_CMAKEDIR ${OX3D_INSTALL_LIBDIR}/cmake/Ox3dRgbd)
set(OX3D_INSTALL_PKGCONFIGDIR ${OX3D_INSTALL_LIBDIR}/pkgconfig)
set(OX3D_INSTALL_DOCDIR ${OX3D_INSTALL_DATAROOTDIR}/doc/ox3drgbd)
set(OX3D_LIBRARY_RUN_PATH "$ORIGIN:$ORIGIN/ox3drgbd/aravis")
file(RELATIVE_PATH OX3D_LIBDIR_FROM_BINDIR "/prefix/${OX3D_INSTALL_BINDIR}" "/prefix/${OX3D_INSTALL_LIBDIR}")

set(CMAKE_LIBRARY_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/${OX3D_INSTALL_LIBDIR}")
set(CMAKE_ARCHIVE_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/${OX3D_INSTALL_LIBDIR}")
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/${OX3D_INSTALL_BINDIR}")
# The folder that holds one folder for each provider, in the build tree.
set(OX3D_BUILT_PROVIDERS "${PROJECT_BINARY_DIR}/${OX3D_INSTALL_PROVIDERDIR}")
