# Installs the station like a desktop program and packs it as a .deb:
#   cmake --install build --prefix /usr/local       # or: cd build && cpack  ->  tarvek-station_*.deb
include(GNUInstallDirs)

install(TARGETS tarvek-station fadec-sim RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(FILES ${PROJECT_SOURCE_DIR}/packaging/tarvek-station.desktop
        DESTINATION ${CMAKE_INSTALL_DATADIR}/applications)
install(FILES ${PROJECT_SOURCE_DIR}/packaging/tarvek-station.svg
        DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/scalable/apps)
# The Wireshark dissector of the recorder's files: tshark -X lua_script:.../tarvek.lua -r FILE
install(FILES ${PROJECT_SOURCE_DIR}/packaging/tarvek.lua DESTINATION ${CMAKE_INSTALL_DATADIR}/tarvek-station)
# The plant broker's configuration, as the plant view expects it (one broker, or halls bridged).
install(PROGRAMS ${PROJECT_SOURCE_DIR}/scripts/plant-broker-config.sh DESTINATION ${CMAKE_INSTALL_DATADIR}/tarvek-station)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME tarvek-station)
set(CPACK_PACKAGE_VENDOR "Tarvek")
set(CPACK_PACKAGE_CONTACT "Tarvek station maintainers <station@tarvek.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Control and monitoring station for Tarvek light engines LE1..LE6")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION electronics)
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE "https://tarvek.invalid/station")
# The Qt 6 runtime of Debian 12 and later; the platform plugins (screen and offscreen) come with
# libqt6gui6.
set(CPACK_DEBIAN_PACKAGE_DEPENDS
    "libc6, libstdc++6, libqt6core6 (>= 6.4), libqt6gui6 (>= 6.4), libqt6widgets6 (>= 6.4), libqt6serialport6 (>= 6.4), libqt6printsupport6 (>= 6.4), libqt6network6 (>= 6.4), libzstd1, libmosquitto1, libssl3")
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
    "Runs up to six light engines, each through its FADEC controller board on its own RS-232 port:\nshows phases, speeds, temperatures, sensors and faults, starts and stops engines, sets power\nset-points, logs data and keeps an activity history. Includes the fadec-sim simulator.")
set(CPACK_STRIP_FILES ON)
include(CPack)
