# SparkleUpdater.mm, compiled (not linked) by clang as Objective-C++ against the Foundation and
# Sparkle declarations it uses: it must compile with ARC, and refuse to without it (its retain
# balance is only right under ARC).
#   cmake -DCLANG=clang++ -DSOURCE_DIR=... -DSTUBS=... -P check_sparkle_arc.cmake
set(source ${SOURCE_DIR}/src/ui/SparkleUpdater.mm)
set(flags -x objective-c++ -std=c++20 -fobjc-runtime=gnustep-2.0 -Wall -Wextra -Werror -fsyntax-only
  -I${STUBS} -I${SOURCE_DIR}/src)
execute_process(COMMAND ${CLANG} ${flags} -fobjc-arc ${source} ERROR_VARIABLE errors RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "SparkleUpdater.mm does not compile with ARC:\n${errors}")
endif()
execute_process(COMMAND ${CLANG} ${flags} ${source} ERROR_VARIABLE errors RESULT_VARIABLE status)
if(status EQUAL 0 OR NOT errors MATCHES "needs -fobjc-arc")
  message(FATAL_ERROR "SparkleUpdater.mm compiles without ARC, where it would leak:\n${errors}")
endif()
message(STATUS "SparkleUpdater.mm: compiles with ARC, refuses without")
