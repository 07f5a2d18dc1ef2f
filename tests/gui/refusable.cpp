// Steps of the toolkit that guards_test.cpp makes fail.
#include "gui/guibitmap.h"
#include "gui/guiimage.h"
#include "gui/guimessage.h"
#include "gui/guitext.h"
#include "tests/support/refusing.h"

REFUSABLE(ListAdd, _Z7ListAddP12GUILIST_ITEMP7GUILIST, (GUILIST_ITEM * item, GUILIST* list), (item, list))
REFUSABLE(DestroyText, _Z11DestroyTextPP7GUITEXT, (GUITEXT * *text), (text))
REFUSABLE(DestroyBitmap, _Z13DestroyBitmapPP9GUIBITMAP, (GUIBITMAP * *bitmap), (bitmap))
REFUSABLE(SetImagePlace, _Z13SetImagePlacejjP8GUIIMAGE, (unsigned x, unsigned y, GUIIMAGE* image),
          (x, y, image))
REFUSABLE(DestroyMessage, _Z14DestroyMessagePP10GUIMESSAGE, (GUIMESSAGE * *message), (message))
