#pragma once
// The menu bar of the main window, as data: menus, entries in order, access
// keys (the "&"), submenus and the form or command each entry opens.

#include <QString>
#include <vector>

struct MenuEntry {
    QString text;
    QString command;            // command name, for entries that are not forms
    int form = 0;               // form number opened through the form-opening rule
    std::vector<MenuEntry> children; // a submenu when not empty
};

struct Menu {
    QString title;
    std::vector<MenuEntry> entries;
    bool devOnly = false;       // shown only in development mode
};

const std::vector<Menu> &menuTable();
