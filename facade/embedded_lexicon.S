/* The embedded lexicon: the bytes of a binary transducer file, unchanged, under
 * the two names that fenra.h declares. The build names the file. */
	.section .rodata
	.globl	fstContent
	.type	fstContent, @object
	.balign	16
fstContent:
	.incbin	FENRA_LEXICON_FILE
.Lend:
	.size	fstContent, .Lend - fstContent

	.globl	fstContentSize
	.type	fstContentSize, @object
	.balign	4
fstContentSize:
	.long	.Lend - fstContent
	.size	fstContentSize, 4

	.section .note.GNU-stack, "", @progbits
