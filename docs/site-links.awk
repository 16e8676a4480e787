# The filter of docs/Doxyfile for documents: prints one as Doxygen wants it. Links to documents and pictures stay; of
# others, which lead out of the site, the text is left. A page's title is its first line, so comments go.
!inCode && /^<!-- .* -->$/ { next }
!begun && /^$/ { next }
{ begun = 1 }
/^```/ {
  inCode = !inCode
  print($0 == "```cpp" ? "```{.cpp}" : "```")
  next
}
inCode { print; next }
{
  rest = $0
  line = ""
  while (match(rest, /\[[^]]*\]\([^)]*\)/)) {
    link = substr(rest, RSTART, RLENGTH)
    line = line substr(rest, 1, RSTART - 1)
    rest = substr(rest, RSTART + RLENGTH)
    if (link !~ /\.(md|png)\)$|\(https?:/) {
      sub(/^\[/, "`", link)
      sub(/\]\(.*/, "`", link)
    }
    line = line link
  }
  print line rest
}
