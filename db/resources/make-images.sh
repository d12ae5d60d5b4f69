#!/bin/sh
# Draws the two pictures of the exported gallery page with ImageMagick's convert:
# __Lumeno.GIF, the logo (an "L" on a blue tile), and __gallery.GIF, the folder icon of a
# sub-gallery link. Run from this folder: sh make-images.sh
set -e
convert -size 48x48 xc:'#2b5d8a' -fill white \
    -draw 'rectangle 15,10 21,37' -draw 'rectangle 15,32 34,37' \
    -strip +set date:create +set date:modify __Lumeno.GIF
convert -size 32x32 xc:none -fill '#d9a431' -stroke '#8a6514' \
    -draw 'polygon 2,7 12,7 15,10 29,10 29,27 2,27' \
    -fill '#f2c65a' -draw 'polygon 2,13 29,13 29,27 2,27' \
    -strip +set date:create +set date:modify __gallery.GIF
