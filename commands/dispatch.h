/*
 * The command dispatcher: runs the command with the given number (menu,
 * accelerator or batch queue) on the workspace.
 */
#ifndef ZELMAR_COMMANDS_DISPATCH_H
#define ZELMAR_COMMANDS_DISPATCH_H

void OnCommand(unsigned Id, long lParam);

#endif
