#include "compositing/LayerState.h"

#include "quolsdk/LLayerItem.h"

LLayerItem::LLayerItem(std::string key)
    : name(std::move(key)), state(std::make_unique<quol::LayerState>()) {}

LLayerItem::~LLayerItem() = default;
