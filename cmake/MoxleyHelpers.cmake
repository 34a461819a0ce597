# Compiler settings every Moxley target shares.
function(moxley_target_defaults target)
  target_compile_options(${target} PRIVATE -Wall -Wextra)
  if(MOXLEY_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
  target_compile_definitions(${target} PRIVATE
    QT_NO_CAST_TO_ASCII QT_RESTRICTED_CAST_FROM_ASCII QT_USE_QSTRINGBUILDER QT_NO_KEYWORDS
    MOXLEY_VERSION="${PROJECT_VERSION}")
endfunction()

# Gives `target`, and what links it, the headers of src/FOLDER as "FOLDER/Name.h", and no others:
# through a folder of the build tree holding one link to the sources. So an include against the
# direction of the layers fails to compile instead of passing unnoticed.
function(moxley_layer_headers target folder)
  set(root ${CMAKE_BINARY_DIR}/layers/${folder})
  file(MAKE_DIRECTORY ${root})
  file(CREATE_LINK ${PROJECT_SOURCE_DIR}/src/${folder} ${root}/${folder} SYMBOLIC)
  target_include_directories(${target} PUBLIC ${root})
endfunction()

# One static library a folder of src/ (a layer of the core), named moxleyFOLDER, over the layers
# and libraries it names after DEPENDS.
function(moxley_layer folder)
  cmake_parse_arguments(LAYER "" "" "DEPENDS" ${ARGN})
  add_library(moxley${folder} STATIC)
  moxley_target_defaults(moxley${folder})
  moxley_layer_headers(moxley${folder} ${folder})
  target_link_libraries(moxley${folder} PUBLIC ${LAYER_DEPENDS})
endfunction()

if(MOXLEY_FUZZ)
  # Everything the fuzzers reach is instrumented for coverage and checked by the sanitizers.
  add_compile_options(-fsanitize=fuzzer-no-link,address,undefined -fno-omit-frame-pointer -fno-sanitize-recover=undefined)
  add_link_options(-fsanitize=address,undefined)
elseif(MOXLEY_SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-omit-frame-pointer -fno-sanitize-recover=undefined)
  add_link_options(-fsanitize=address,undefined)
elseif(MOXLEY_TSAN)
  add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
  add_link_options(-fsanitize=thread)
endif()
