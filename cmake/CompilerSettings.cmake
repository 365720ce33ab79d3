# Warnings are errors in every build: the agent runs in programs that nobody here can debug.
add_library(veltra_warnings INTERFACE)
target_compile_options(veltra_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion -Wshadow -Wcast-qual -Wformat=2
  -Wnon-virtual-dtor -Wold-style-cast -Woverloaded-virtual -Wnull-dereference -Wundef -Wvla
  -Werror)

# The agent lives on what the C library offers beyond the standards.
add_compile_definitions(_GNU_SOURCE)

# Sanitizers apply to everything in the tree, so that one build has one run-time library.
if(VELTRA_SANITIZER)
  add_compile_options(-fsanitize=${VELTRA_SANITIZER} -fno-omit-frame-pointer)
  if(VELTRA_SANITIZER MATCHES "undefined")
    add_compile_options(-fno-sanitize-recover=undefined)
  endif()
  add_link_options(-fsanitize=${VELTRA_SANITIZER})
endif()
