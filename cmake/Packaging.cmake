# `cpack` in the build tree makes a Debian package of the installation. Its
# dependencies are the Debian packages of the shared libraries the program
# needs (found by dpkg-shlibdeps) and of the fonts it reads at run time, which
# no linker sees.
set(VELMORA_FONT_PACKAGES fonts-inter fonts-dejavu-core fonts-noto-core fonts-noto-color-emoji fonts-noto-cjk)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME velmora)
set(CPACK_PACKAGE_VENDOR "Velmora")
set(CPACK_PACKAGE_CONTACT "Velmora developers <velmora@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Sleep tracker notification extension and metric library, with its host program")
string(CONCAT CPACK_PACKAGE_DESCRIPTION
       "velmora expands the sleep tracker's notifications, serves its widget and shortcut requests and keeps "
       "its preferences domains, printing JSON and rendering PNG images.")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
list(JOIN VELMORA_FONT_PACKAGES ", " CPACK_DEBIAN_PACKAGE_DEPENDS)
include(CPack)
