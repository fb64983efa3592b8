# sl_warnings: the warnings and sanitizers that every target of the project is built with.
add_library(sl_warnings INTERFACE)
target_compile_options(sl_warnings INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Wcast-align
                                             -Woverloaded-virtual -Wimplicit-fallthrough)
if(STEADYLUX_WERROR)
    target_compile_options(sl_warnings INTERFACE -Werror)
endif()
if(STEADYLUX_SANITIZE)
    # Applied everywhere, so that every library and test of one build agrees on the run-time.
    add_compile_options(-fsanitize=${STEADYLUX_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
    add_link_options(-fsanitize=${STEADYLUX_SANITIZE})
endif()
