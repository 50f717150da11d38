# Writes the source that has the page's style, sections and scripts:
#
#   cmake -D FOLDER=... -D OUTPUT=... -D STYLES=a.css,b.css -D BODY=body.html -D SCRIPTS=a.js,b.js -P kvs_Embed.cmake
#
# The page's policy has the checksums of style and scripts, so a browser runs nothing else in a report.
function(kvs_join result files)
  string(REPLACE "," ";" files "${files}")
  set(joined "\n")
  foreach(file IN LISTS files)
    file(READ "${FOLDER}/${file}" text)
    string(APPEND joined "${text}")
  endforeach()
  if(joined MATCHES "\\)kvs\"|</script|</style|<!--")
    message(FATAL_ERROR "${files} would end the text that has them")
  endif()
  set(${result} "${joined}" PARENT_SCOPE)
endfunction()

# The SHA-256 of a text in Base64, as a policy has it.
function(kvs_checksum result text)
  set(alphabet "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/")
  string(SHA256 hex "${text}")
  string(APPEND hex "0000") # 34 bytes; the last character but one is of the first 32
  set(base64 "")
  foreach(i RANGE 0 10)
    math(EXPR at "${i} * 6")
    string(SUBSTRING "${hex}00" ${at} 6 three)
    math(EXPR bits "0x${three}")
    foreach(shift 18 12 6 0)
      math(EXPR index "(${bits} >> ${shift}) & 63")
      string(SUBSTRING "${alphabet}" ${index} 1 character)
      string(APPEND base64 "${character}")
    endforeach()
  endforeach()
  string(SUBSTRING "${base64}" 0 43 base64)
  set(${result} "${base64}=" PARENT_SCOPE)
endfunction()

# Literals of at most 15 KiB, which every compiler takes.
function(kvs_literal result text)
  set(pieces "")
  string(LENGTH "${text}" length)
  set(at 0)
  while(at LESS length)
    string(SUBSTRING "${text}" ${at} 15000 piece)
    string(APPEND pieces "R\"kvs(${piece})kvs\",\n    ")
    math(EXPR at "${at} + 15000")
  endwhile()
  set(${result} "${pieces}" PARENT_SCOPE)
endfunction()

kvs_join(style "${STYLES}")
kvs_join(script "${SCRIPTS}")
kvs_join(body "${BODY}")
kvs_checksum(style_sum "${style}")
kvs_checksum(script_sum "${script}")
set(policy "default-src 'none'; style-src 'sha256-${style_sum}'; script-src 'sha256-${script_sum}'; base-uri 'none'; form-action 'none'")
kvs_literal(style "${style}")
kvs_literal(script "${script}")
kvs_literal(body "${body}")
file(WRITE "${OUTPUT}" "// Written by kvs_Embed.cmake.
#include \"tools/kvlstore/report/kvs_Page.h\"

kvs_Assets::Pieces kvs_Assets::Style() noexcept {
  static constexpr std::string_view All[] = {${style}};
  return All;
}
kvs_Assets::Pieces kvs_Assets::Body() noexcept {
  static constexpr std::string_view All[] = {${body}};
  return All;
}
kvs_Assets::Pieces kvs_Assets::Script() noexcept {
  static constexpr std::string_view All[] = {${script}};
  return All;
}
std::string_view kvs_Assets::Policy() noexcept {
  return \"${policy}\";
}
")
