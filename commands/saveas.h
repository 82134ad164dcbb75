/*
 * Save As: finds out where to write and in which type and format (file
 * dialog and Format dialog, or the batch entry's text), expands a palette
 * image for true-colour formats, and hands the image to the save engine.
 * Save To is the same road for build scripts, with every type and format.
 */
#ifndef ZELMAR_COMMANDS_SAVEAS_H
#define ZELMAR_COMMANDS_SAVEAS_H

void OnFileSaveAs(void);
/* The command line's Save To: every file type and format by number. */
void OnFileSaveTo(void);

#endif
