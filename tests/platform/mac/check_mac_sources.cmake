# Compile checks of macOS-only code on Linux: the preprocessor is told Q_OS_MACOS the way Qt tells
# it on a Mac (through Qt's own headers), CoreFoundation is declared, nothing is linked.
#   cmake -DCXX=... -DSOURCE_DIR=... -DSTUBS=... -DINCLUDES=a|b|c -P check_mac_sources.cmake
string(REPLACE "|" ";" includes "${INCLUDES}")
set(flags -std=c++20 -Wall -Wextra -Werror -DQT_NO_KEYWORDS -I${STUBS} -I${SOURCE_DIR}/src)
foreach(dir IN LISTS includes)
  list(APPEND flags -isystem ${dir})
endforeach()

set(source ${SOURCE_DIR}/src/platform/ChangeNotice.cpp)
execute_process(COMMAND ${CXX} ${flags} -E ${source} OUTPUT_VARIABLE expanded ERROR_VARIABLE errors RESULT_VARIABLE status)
if(NOT status EQUAL 0 AND errors MATCHES "QDBus")
  message(FATAL_ERROR "ChangeNotice.cpp takes the D-Bus branch although Qt defines Q_OS_MACOS:\n${errors}")
elseif(NOT status EQUAL 0)
  message(FATAL_ERROR "ChangeNotice.cpp does not preprocess:\n${errors}")
endif()
if(NOT expanded MATCHES "CFNotificationCenterPostNotification" OR expanded MATCHES "QDBusConnection")
  message(FATAL_ERROR "ChangeNotice.cpp takes the D-Bus branch although Qt defines Q_OS_MACOS")
endif()
execute_process(COMMAND ${CXX} ${flags} -fsyntax-only ${source} ERROR_VARIABLE errors RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "The CoreFoundation branch of ChangeNotice.cpp does not compile:\n${errors}")
endif()
message(STATUS "ChangeNotice.cpp: the CoreFoundation branch is taken on macOS and compiles")
