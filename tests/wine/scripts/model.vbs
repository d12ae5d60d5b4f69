' The object model's details on the sample photo: counts, items by position and by name, values
' of each kind, errors with the library's message, and the aggregatable collections on their own.
' Usage: cscript //nologo model.vbs PHOTO
Set image = CreateObject("EXIF.EXIFImage")
On Error Resume Next
x = image.IFDs.Count
WScript.Echo "unopened: " & Err.Source & ": " & Err.Description
Err.Clear
image.Open WScript.Arguments(0) & ".missing"
WScript.Echo "missing: " & Err.Source & ": " & Mid(Err.Description, InStrRev(Err.Description, ": ") + 2)
Err.Clear
On Error GoTo 0
image.Open WScript.Arguments(0)
Set ifds = image.IFDs
WScript.Echo "count: " & ifds.Count
WScript.Echo "first: " & ifds(0).Name & ", by name: " & ifds.Item("exif").Name & " " & ifds("EXIF").Id
Set make = ifds("Primary Image").Fields("Make")
WScript.Echo "make: " & make.Tag & " " & make.Type & " " & make.Count & " " & make.Value & " " & make.Text
WScript.Echo "xres: " & ifds("Primary Image").Fields("XResolution").Value & " " & TypeName(ifds("Primary Image").Fields("XResolution").Value)
a = ifds("EXIF").Fields("ExifVersion").Value
WScript.Echo "version: " & (UBound(a) + 1) & " " & Chr(a(0)) & Chr(a(1)) & Chr(a(2)) & Chr(a(3))
WScript.Echo "fields: " & ifds(0).Fields.Count & " " & ifds(0).Fields(0).Name
WScript.Echo "caption: " & image.IPTC("Caption") & "; keywords: " & image.IPTC("2:25")
WScript.Echo "file: " & (image.FileName = WScript.Arguments(0))
On Error Resume Next
Set f = ifds(99)
WScript.Echo "bad index: " & Err.Description
Err.Clear
Set f = ifds(-1)
WScript.Echo "negative index: " & Err.Description
Err.Clear
Set f = ifds("Nope")
WScript.Echo "bad name: " & Err.Description
Err.Clear
x = image.IPTC("Favourite colour")
WScript.Echo "bad dataset: " & Err.Description
Err.Clear
On Error GoTo 0
Set alone = CreateObject("EXIF.Fields")
WScript.Echo "on its own: " & alone.Count & " " & CreateObject("EXIF.IFDs").Count
WScript.Echo "DONE"
