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

if(MOXLEY_FUZZ)
  # Everything the fuzzers reach is instrumented for coverage and checked by the sanitizers.
  add_compile_options(-fsanitize=fuzzer-no-link,address,undefined -fno-omit-frame-pointer -fno-sanitize-recover=undefined)
  add_link_options(-fsanitize=address,undefined)
elseif(MOXLEY_SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-omit-frame-pointer -fno-sanitize-recover=undefined)
  add_link_options(-fsanitize=address,undefined)
endif()
