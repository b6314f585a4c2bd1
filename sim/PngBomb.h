#pragma once

#include <QByteArray>

// A PNG of a few dozen bytes whose header declares a picture of
// 100000 × 100000 pixels: a decoder that trusts the header before it looks
// at the data asks for tens of gigabytes.
class PngBomb {
public:
    static QByteArray bytes();
};
