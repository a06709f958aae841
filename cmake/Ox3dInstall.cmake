# Where things are installed. The library folder is always lib/, also under /usr: applications and the
# dynamic linker's search are told one path on every distribution.
set(OX3D_INSTALL_LIBDIR lib)
set(OX3D_INSTALL_INCLUDEDIR include)
set(OX3D_INSTALL_BINDIR bin)
set(OX3D_INSTALL_PROVIDERDIR ${OX3D_INSTALL_LIBDIR}/ox3drgbd)
