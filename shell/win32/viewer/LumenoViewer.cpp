// LumenoViewer.exe, the slide-show CD's viewer: the slide show of the pictures on the CD (the
// play list beside the program, else the pictures found there), full screen, with the settings
// of the machine it runs on (their defaults where Lumeno is not installed).
#include "Text.h"
#include "ViewerWindows.h"

#include <Lumeno/Commands/SlideShowCD.h>
#include <Lumeno/Platform/Services.h>

#include <objbase.h>

int WINAPI wWinMain(HINSTANCE, HINSTANCE, PWSTR, int)
{
    using namespace Lumeno;
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    Platform::installMetadataServices();
    // The CD's folder, or the one named on the command line.
    std::string folder = Platform::services().programFolder();
    int count = 0;
    if (LPWSTR* arguments = CommandLineToArgvW(GetCommandLineW(), &count)) {
        if (count > 1) {
            folder = Shell::toUtf8(arguments[1]);
        }
        LocalFree(arguments);
    }
    int status = 1;
    try {
        const std::vector<std::string> pictures = Commands::slideShowPictures(folder);
        if (pictures.empty()) {
            MessageBoxW(nullptr, Shell::toUtf16("There are no pictures to show in " + folder + ".").c_str(),
                        L"Lumeno", MB_OK | MB_ICONINFORMATION);
        } else {
            status = Shell::runSlideShow(pictures);
        }
    } catch (const std::exception& e) {
        MessageBoxW(nullptr, Shell::toUtf16(e.what()).c_str(), L"Lumeno", MB_OK | MB_ICONERROR);
    }
    CoUninitialize();
    return status;
}
