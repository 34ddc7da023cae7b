#pragma once
// The working forms the main window can open, by form number. Each section
// registers its form here; a menu entry whose form is not registered stays
// disabled.

#include "shell/context.h"

#include <QHash>
#include <functional>

class QWidget;

using FormFactory = std::function<QWidget *(AppContext &ctx, QWidget *parent)>;

struct FormInfo {
    FormFactory make;
    bool needsDeclaration = false; // refuses to open without a current declaration
};

QHash<int, FormInfo> &formRegistry();
void registerForms(); // fills the registry with every form of the program
