# Installs the build into a fresh prefix, then builds and runs the consumer
# program four ways: through find_package and through pkg-config, each
# linked with the shared and with the static library.
#   -DBUILD_DIR=<kelCC build> -DSOURCE=<this folder> -DWORK=<scratch folder>
#   -DCC=<C compiler>
file(REMOVE_RECURSE ${WORK})
set(prefix ${WORK}/prefix)

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out
                  ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "failed (${rc}): ${ARGN}\n${out}\n${err}")
  endif()
  message(STATUS "${out}")
endfunction()

run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})
include(GNUInstallDirs)
file(GLOB libdir LIST_DIRECTORIES true ${prefix}/lib*/pkgconfig)
get_filename_component(libdir ${libdir} DIRECTORY)

# find_package, shared and static.
foreach(static OFF ON)
  set(dir ${WORK}/cmake-static-${static})
  run(${CMAKE_COMMAND} -S ${SOURCE} -B ${dir} -DCMAKE_PREFIX_PATH=${prefix}
      -DCMAKE_C_COMPILER=${CC} -DUSE_STATIC=${static})
  run(${CMAKE_COMMAND} --build ${dir})
  run(${dir}/consumer)
endforeach()

# pkg-config, shared and static (the library archive by name, its private
# libraries from --static).
set(ENV{PKG_CONFIG_PATH} ${libdir}/pkgconfig)
execute_process(COMMAND pkg-config --cflags kelcc OUTPUT_VARIABLE cflags
                OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND pkg-config --libs kelcc OUTPUT_VARIABLE libs
                OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND pkg-config --static --libs kelcc
                OUTPUT_VARIABLE static_libs OUTPUT_STRIP_TRAILING_WHITESPACE
                COMMAND_ERROR_IS_FATAL ANY)
separate_arguments(cflags UNIX_COMMAND "${cflags}")
separate_arguments(libs UNIX_COMMAND "${libs}")
string(REPLACE "-lkelcc" "-l:libkelcc.a" static_libs "${static_libs}")
separate_arguments(static_libs UNIX_COMMAND "${static_libs}")
run(${CC} ${SOURCE}/main.c ${cflags} ${libs} -Wl,-rpath,${libdir}
    -o ${WORK}/pc-shared)
run(${WORK}/pc-shared)
run(${CC} ${SOURCE}/main.c ${cflags} -DKELCC_CHECK_SLOTS ${static_libs}
    -o ${WORK}/pc-static)
run(${WORK}/pc-static)
