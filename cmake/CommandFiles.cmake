# Writes the files that describe the command line, from the built program
# itself so that they follow its options:
#   OUTPUT_DIR/completion/samplenet   bash completion
#   OUTPUT_DIR/completion/_samplenet  zsh completion
#   OUTPUT_DIR/man/samplenet.1, samplenet-COMMAND.1 for each command (with HELP2MAN)
# cmake -DSAMPLENET=... -DOUTPUT_DIR=... -DVERSION=... [-DHELP2MAN=...] -P CommandFiles.cmake

function(run_checked)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE status ERROR_VARIABLE error)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "${ARGN} failed (${status}): ${error}")
  endif()
endfunction()

file(MAKE_DIRECTORY ${OUTPUT_DIR}/completion)
run_checked(${SAMPLENET} completion bash OUTPUT_FILE ${OUTPUT_DIR}/completion/samplenet)
run_checked(${SAMPLENET} completion zsh OUTPUT_FILE ${OUTPUT_DIR}/completion/_samplenet)

if(NOT HELP2MAN)
  return()
endif()
# A page per command, named and described as `samplenet --help` lists it.
execute_process(COMMAND ${SAMPLENET} --help OUTPUT_VARIABLE help RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "${SAMPLENET} --help failed")
endif()
string(REGEX REPLACE ".*\nSubcommands:\n" "" commands "${help}")
string(REGEX REPLACE "\n\n.*" "" commands "${commands}")
string(REPLACE "\n" ";" commands "${commands}")
file(REMOVE_RECURSE ${OUTPUT_DIR}/man)
file(MAKE_DIRECTORY ${OUTPUT_DIR}/man)
set(names "")
set(descriptions "")
set(pages "")
foreach(line IN LISTS commands)
  if(NOT line MATCHES "^  ([a-z]+) +(.+)$")
    message(FATAL_ERROR "unexpected command line in ${SAMPLENET} --help: \"${line}\"")
  endif()
  list(APPEND names ${CMAKE_MATCH_1})
  list(APPEND descriptions "${CMAKE_MATCH_2}")
  list(APPEND pages "samplenet-${CMAKE_MATCH_1}(1)")
endforeach()
string(REPLACE ";" ", " pages "${pages}")
file(WRITE ${OUTPUT_DIR}/man/see_also_commands "[SEE ALSO]\n${pages}\n")
file(WRITE ${OUTPUT_DIR}/man/see_also_samplenet "[SEE ALSO]\nsamplenet(1)\n")
run_checked(${HELP2MAN} --no-info --version-string=${VERSION}
            "--name=Approximate inference in discrete Bayesian networks"
            --include=${OUTPUT_DIR}/man/see_also_commands
            --output=${OUTPUT_DIR}/man/samplenet.1 ${SAMPLENET})
foreach(command description IN ZIP_LISTS names descriptions)
  # help2man runs the program through the shell, so the help option may
  # name the command first.
  run_checked(${HELP2MAN} --no-info "--version-string=samplenet-${command} ${VERSION}"
              "--help-option=${command} --help" "--name=${description}"
              --include=${OUTPUT_DIR}/man/see_also_samplenet
              --output=${OUTPUT_DIR}/man/samplenet-${command}.1 ${SAMPLENET})
endforeach()
file(REMOVE ${OUTPUT_DIR}/man/see_also_commands ${OUTPUT_DIR}/man/see_also_samplenet)
