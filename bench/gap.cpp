// SPDX-License-Identifier: MIT OR GPL-2.0
// IFC_GAP bytes of code that nothing calls. They move the code that is linked after them.
#define IFC_TEXT_OF(number) #number
#define IFC_TEXT(number)    IFC_TEXT_OF(number)

asm(".text\n\t.skip " IFC_TEXT(IFC_GAP) "\n");
