// The same as dump.vbs, walked with JScript's Enumerator.
// Usage: cscript //nologo dump.js PHOTO OUT
var args = WScript.Arguments;
var fso = new ActiveXObject("Scripting.FileSystemObject");
var out = fso.CreateTextFile(args.Item(1), true, true);
var image = new ActiveXObject("EXIF.EXIFImage");
image.Open(args.Item(0));
for (var e = new Enumerator(image.IFDs); !e.atEnd(); e.moveNext()) {
    var ifd = e.item();
    out.WriteLine("== " + ifd.Name);
    for (var f = new Enumerator(ifd.Fields); !f.atEnd(); f.moveNext()) {
        var field = f.item();
        if (field.Shown) {
            out.WriteLine(field.Name + ": " + field.Text);
        }
    }
}
out.WriteLine("Keyword=" + image.IPTC("Keyword"));
out.WriteLine("Title=" + image.Value("Title"));
out.Close();
WScript.Echo("DONE");
