# cmake -DQEMU=qemu-x86_64 -DMODEL=Haswell -DLEVEL=x86-64-v3 -DENGINE=ferrolune -DSIGNATURE_FILE=.. -P cpu_level_run.cmake
#
# The portable executable on an emulated CPU model: --version names the level the model supports on the
# line after the version, and bench gives the search signature. An instruction above the model's level
# ends the emulated process with a signal, which fails the test.

execute_process(COMMAND ${QEMU} -cpu ${MODEL} ${ENGINE} --version
                OUTPUT_VARIABLE out ERROR_VARIABLE err RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "${MODEL}: --version ended with '${status}'\n${out}${err}")
endif()
if(NOT out MATCHES "^ferrolune [^\n]+\n${LEVEL}\n$")
  message(FATAL_ERROR "${MODEL}: --version should name ${LEVEL} on its second line, printed:\n${out}${err}")
endif()

file(READ ${SIGNATURE_FILE} signature)
string(STRIP "${signature}" signature)
execute_process(COMMAND ${QEMU} -cpu ${MODEL} ${ENGINE} bench
                OUTPUT_VARIABLE out ERROR_VARIABLE err RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "${MODEL}: bench ended with '${status}'\n${out}${err}")
endif()
if(NOT out MATCHES "\nNodes searched: ${signature}\n")
  message(FATAL_ERROR "${MODEL}: bench should search ${signature} nodes, printed:\n${out}${err}")
endif()
message(STATUS "${MODEL}: ${LEVEL}, bench ${signature}")
