#pragma once
// Registers the forms of the anagrafica area with the main window.

void registerAnagForms();
