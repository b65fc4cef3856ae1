# Applies ORVEL_SANITIZE to everything built below the top folder.
if(ORVEL_SANITIZE)
  add_compile_options(-fsanitize=${ORVEL_SANITIZE} -fno-omit-frame-pointer)
  if(ORVEL_SANITIZE MATCHES "undefined")
    add_compile_options(-fno-sanitize-recover=undefined)
  endif()
  add_link_options(-fsanitize=${ORVEL_SANITIZE})
endif()
