# Extracts the C++ of a page. Everything outside its cpp blocks becomes an empty line, so compilers report the page's
# own line numbers.
FNR == 1 { print "#line 1 \"" FILENAME "\"" }
/^```/   { code = /^```cpp$/; print ""; next }
         { print code ? $0 : "" }
