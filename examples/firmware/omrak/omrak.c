/* The stand-in library's draw methods: only their addresses count. */
#include "Omrak.h"

const OMRAK_DRAW_METHOD OMRAK_DrawBMP565 = { "BMP565" };
const OMRAK_DRAW_METHOD OMRAK_DrawBMP888 = { "BMP888" };
