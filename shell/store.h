/*
 * The per-user store behind the platform's settings: a small text file,
 * $XDG_CONFIG_HOME/Zelmar/Zelmar.conf (~/.config when that is not set),
 * with one group per list; the registry on Windows.
 */
#ifndef ZELMAR_SHELL_STORE_H
#define ZELMAR_SHELL_STORE_H

int  STORE_Load(const char* sGroup, const char* sName, char* pBuffer, int MaxLen);
void STORE_Save(const char* sGroup, const char* sName, const char* sValue);
/* Lets go of the store; the next use opens it again. */
void STORE_Close(void);

#endif
