# compile_together(<target> <sources at a time>): the headers are read and their templates compiled once for several
# sources. So names at the top of two sources of one target differ; the presets dev and clang compile each by itself.
option(STORAGEDEVICES_JUMBO "Compile the sources of a target several at a time" OFF)

function(compile_together NAME BATCH)
  if(STORAGEDEVICES_JUMBO)
    set_target_properties(${NAME} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE ${BATCH}
                          UNITY_BUILD_UNIQUE_ID SOURCE_ID
                          UNITY_BUILD_CODE_BEFORE_INCLUDE "#include \"${PROJECT_SOURCE_DIR}/cmake/Jumbo.h\"")
  endif()
endfunction()
