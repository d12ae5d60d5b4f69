// The context menu of My Galleries' items (and of a folder's background, an empty selection).
#pragma once

#include <Lumeno/Namespace/ItemId.h>

#include <windows.h>

#include <vector>

namespace Lumeno::Namespace {

// The menu of `selection`, listed in `folder` (null at the top of My Galleries).
HRESULT createItemMenu(const std::vector<ItemId>& selection, const ItemId* folder, REFIID riid, void** out);

} // namespace Lumeno::Namespace
