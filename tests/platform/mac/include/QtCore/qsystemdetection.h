// Qt's own detection, then macOS on top: the preprocessor sees what it would on a Mac, as far as
// Q_OS_MACOS goes. Only for the compile checks in ../check_mac_sources.cmake.
#include_next <QtCore/qsystemdetection.h>
#ifndef Q_OS_MACOS
#define Q_OS_MACOS
#endif
