# Turns a header's plain comments into documentation comments: those that start a line, and those after a member. Rulers
# ("/* --- ... --- */") stay as they are. A backslash in a comment is a literal one. What is private is left out: Doxygen
# would link to a section for it that it does not write.
/^private:$/ { print "/** @cond */"; hidden = 1 }
/^};/ && hidden { print "/** @endcond */"; hidden = 0 }
/^ *(\/?\*)/ { gsub(/\\/, "\\\\&") }
NR == 1 && /^\/\*/ { print "/** @file"; sub(/^\/\*/, " *"); print; next }
/\/\*[*!]/ || /\/\* -+/ { print; next }
/^ *\/\*/ { sub(/\/\*/, "/**"); print; next }
/[;,{A-Za-z0-9)] *\/\* .*\*\/ *$/ { sub(/\/\*/, "/**<"); print; next }
/[;,] +\/\/ / { sub(/\/\/ /, "///< ") }
{ print }
