// JScript's side of the model: arrays through VBArray, errors as exceptions.
// Usage: cscript //nologo model.js PHOTO
var image = new ActiveXObject("EXIF.EXIFImage");
image.Open(WScript.Arguments.Item(0));
var version = new VBArray(image.IFDs.Item("EXIF").Fields.Item("ExifVersion").Value).toArray();
WScript.Echo("version: " + version.length + " " + String.fromCharCode(version[0], version[1], version[2], version[3]));
WScript.Echo("count: " + image.IFDs.Count + " " + image.IFDs.Item(0).Fields.Item("Model").Value);
try {
    image.IFDs.Item(99);
    WScript.Echo("bad index: no error");
} catch (err) {
    WScript.Echo("bad index: " + err.description);
}
WScript.Echo("DONE");
