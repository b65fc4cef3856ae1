# Warnings for the project's own targets; call orvel_warnings(target).
function(orvel_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow
                         -Wnon-virtual-dtor -Woverloaded-virtual -Wno-unused-parameter)
endfunction()
