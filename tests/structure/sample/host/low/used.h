// Included by the folder above.
