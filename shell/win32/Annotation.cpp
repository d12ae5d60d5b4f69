#include "Annotation.h"

namespace Lumeno::Shell {

std::vector<std::string> templateNames()
{
    return {};
}

HRESULT runAnnotation(const MenuItem&, const std::vector<std::string>&, HWND)
{
    return E_NOTIMPL;
}

} // namespace Lumeno::Shell
