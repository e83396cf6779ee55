# Options every target of the project links to: warnings, exact floating point
# (no fused multiply-add, so the transform gives the same bits on every target),
# and the sanitizers of the preset.
add_library(kvo_build_options INTERFACE)
target_compile_options(kvo_build_options INTERFACE -Wall -Wextra -Wpedantic -ffp-contract=off)
if(KVO_WERROR)
    target_compile_options(kvo_build_options INTERFACE -Werror)
endif()

if(KVO_SANITIZE)
    # Global, so that GoogleTest is instrumented as well.
    add_compile_options(-fsanitize=${KVO_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
    add_link_options(-fsanitize=${KVO_SANITIZE})
endif()

if(WIN32)
    target_compile_definitions(kvo_build_options INTERFACE UNICODE _UNICODE WIN32_LEAN_AND_MEAN NOMINMAX)
endif()
