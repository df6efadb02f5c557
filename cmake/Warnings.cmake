# Every warning flag of the project. A warning is an error.
add_compile_options(
  -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual -Wcast-qual
  -Wformat=2 -Wundef -Werror)
