# The macOS bundle: Info.plist, the moxley tool next to the app's executable, Sparkle inside.
# The bundle's executable must not be called "moxley" too: macOS file systems ignore letter case.
set(MOXLEY_SPARKLE_KEY_ENTRY "")
if(MOXLEY_SPARKLE_PUBLIC_KEY)
  set(MOXLEY_SPARKLE_KEY_ENTRY "<key>SUPublicEDKey</key>\n    <string>${MOXLEY_SPARKLE_PUBLIC_KEY}</string>")
endif()
# The bundle claims the system the code was built for.
set(MOXLEY_MACOS_MINIMUM ${CMAKE_OSX_DEPLOYMENT_TARGET})
configure_file(${PROJECT_SOURCE_DIR}/packaging/macos/Info.plist.in ${CMAKE_BINARY_DIR}/Info.plist @ONLY)
set_target_properties(moxley-app PROPERTIES MACOSX_BUNDLE ON
  MACOSX_BUNDLE_INFO_PLIST ${CMAKE_BINARY_DIR}/Info.plist)

# The bundle's icon, made from our SVG at build time.
add_custom_command(OUTPUT ${CMAKE_BINARY_DIR}/Moxley.icns
  COMMAND moxley-make-icns ${PROJECT_SOURCE_DIR}/resources/icons/moxley.svg ${CMAKE_BINARY_DIR}/Moxley.icns
  DEPENDS moxley-make-icns ${PROJECT_SOURCE_DIR}/resources/icons/moxley.svg)
target_sources(moxley-app PRIVATE ${CMAKE_BINARY_DIR}/Moxley.icns)
set_source_files_properties(${CMAKE_BINARY_DIR}/Moxley.icns PROPERTIES MACOSX_PACKAGE_LOCATION Resources)

# The tool is a file the bundle depends on, so it is copied again whenever only the tool changed.
set(MOXLEY_BUNDLE_CONTENTS ${CMAKE_BINARY_DIR}/bin/moxley-app.app/Contents)
add_custom_command(OUTPUT ${MOXLEY_BUNDLE_CONTENTS}/MacOS/moxley
  COMMAND ${CMAKE_COMMAND} -E make_directory ${MOXLEY_BUNDLE_CONTENTS}/MacOS
  COMMAND ${CMAKE_COMMAND} -E copy $<TARGET_FILE:moxley> ${MOXLEY_BUNDLE_CONTENTS}/MacOS/moxley
  DEPENDS moxley $<TARGET_FILE:moxley>
  COMMENT "Copying the moxley tool into the bundle")
add_custom_target(moxley-bundled-tool DEPENDS ${MOXLEY_BUNDLE_CONTENTS}/MacOS/moxley)
add_dependencies(moxley-app moxley-bundled-tool)

# The update check's network module, where UpdateFetchModule looks first: Contents/PlugIns.
add_custom_command(OUTPUT ${MOXLEY_BUNDLE_CONTENTS}/PlugIns/${MOXLEY_UPDATE_MODULE_FILE}
  COMMAND ${CMAKE_COMMAND} -E make_directory ${MOXLEY_BUNDLE_CONTENTS}/PlugIns
  COMMAND ${CMAKE_COMMAND} -E copy $<TARGET_FILE:moxley-update-fetch> ${MOXLEY_BUNDLE_CONTENTS}/PlugIns/
  DEPENDS moxley-update-fetch $<TARGET_FILE:moxley-update-fetch>
  COMMENT "Copying the update module into the bundle")
add_custom_target(moxley-bundled-update-module
  DEPENDS ${MOXLEY_BUNDLE_CONTENTS}/PlugIns/${MOXLEY_UPDATE_MODULE_FILE})
add_dependencies(moxley-app moxley-bundled-update-module)

if(SPARKLE_FRAMEWORK)
  # Sparkle ships inside the bundle, found through the executable's run path. ditto keeps the
  # framework's symbolic links (Versions/Current) as links: code signing rejects a second copy.
  add_custom_command(TARGET moxley-app POST_BUILD
    COMMAND rm -rf $<TARGET_BUNDLE_CONTENT_DIR:moxley-app>/Frameworks/Sparkle.framework
    COMMAND ditto ${SPARKLE_FRAMEWORK} $<TARGET_BUNDLE_CONTENT_DIR:moxley-app>/Frameworks/Sparkle.framework)
  set_target_properties(moxley-app PROPERTIES
    BUILD_RPATH "@executable_path/../Frameworks" INSTALL_RPATH "@executable_path/../Frameworks")
endif()
