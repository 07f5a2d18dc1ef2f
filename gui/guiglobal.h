// Builds and tears down the whole GUI environment.
#pragma once

// Makes the framebuffer map, keypad, touch, event and message objects, palette, pen, brush and font, each
// current, and starts the scheduler and event threads. The framebuffer, keypad and touch threads are the
// application's to start. 0; -1 exit flag; -2 framebuffer or touch device; -3 thread lock, message, event
// object or a thread; -4 palette, pen, brush or font. A missing keypad is not reported. Whatever the result,
// ReleaseGUI releases what was made.
int InitializeGUI();

// Sets the exit flag if it is not set yet, waits for the scheduler, window and event threads to end, and
// releases everything that InitializeGUI made and the windows that the scheduler holds. Called after the
// framebuffer, keypad and touch threads have ended.
// 0; else the first failure of: -1 font, pen or brush; -2 joins, message or event object; -3 touch or
// framebuffer. The rest is released all the same.
int ReleaseGUI();
