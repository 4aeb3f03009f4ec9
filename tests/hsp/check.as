; Checks for scripts run on the real runtime: each line of result.txt is "ok NAME" or
; "fail NAME got G want W"; the run passes when the file ends with "end" and has no "fail".
; A runtime error ends the script through *check_error with its code and line.
#module zcheck
#deffunc check_init
	sdim results, 4096
	return
#deffunc check str name, int got, int want
	if got = want {
		results += "ok " + name + "\n"
	} else {
		results += "fail " + name + " got " + got + " want " + want + "\n"
	}
	return
#deffunc note str text
	results += text + "\n"
	return
#deffunc check_end
	results += "end\n"
	notesel results
	notesave "result.txt"
	return
#global
	check_init
	onerror goto *check_error
	goto *check_start
*check_error
	note "fail runtime error " + wparam + " at line " + lparam
	check_end
	end
*check_start
