/*
 * Save As: finds out where to write and in which type and format (file
 * dialog and Format dialog, or the batch entry's text), expands a palette
 * image for true-colour formats, and hands the image to the save engine.
 */
#ifndef ZELMAR_COMMANDS_SAVEAS_H
#define ZELMAR_COMMANDS_SAVEAS_H

void OnFileSaveAs(void);

#endif
