# Warning flags shared by every target of the project.
add_library(tamo_warnings INTERFACE)
target_compile_options(tamo_warnings INTERFACE
  -Wall -Wextra
  $<$<BOOL:${TAMO_WERROR}>:-Werror>)
