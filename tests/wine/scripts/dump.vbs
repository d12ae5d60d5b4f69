' Every EXIF directory of a photo, its name and then "Name: Text" for each field the dump shows,
' as UTF-16 into a file; then an IPTC dataset and a reconciled value. The last line printed is
' the sentinel: a script that fails stops without a word.
' Usage: cscript //nologo dump.vbs PHOTO OUT
Set fso = CreateObject("Scripting.FileSystemObject")
Set out = fso.CreateTextFile(WScript.Arguments(1), True, True)
Set image = CreateObject("EXIF.EXIFImage")
image.Open WScript.Arguments(0)
For Each ifd In image.IFDs
    out.WriteLine "== " & ifd.Name
    For Each field In ifd.Fields
        If field.Shown Then out.WriteLine field.Name & ": " & field.Text
    Next
Next
out.WriteLine "Keyword=" & image.IPTC("Keyword")
out.WriteLine "Title=" & image.Value("Title")
out.Close
WScript.Echo "DONE"
