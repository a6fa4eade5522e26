! Has an error handler of its own, which must hear of errors in all the libraries behind the names.
program own_handler
  implicit none
  real(8) :: a(1) = 1, x(1) = 1
  integer :: pivots(1), info

  call dgesv(-1, 1, a, 1, pivots, x, 1, info)
  print '("info ", i0)', info
  call dgemm('N', 'X', 1, 1, 1, 1d0, a, 1, a, 1, 0d0, x, 1)
  call dgemv('N', 1, -1, 1d0, a, 1, x, 1, 0d0, x, 1)
  call xerbla('MINE', 7)
end program own_handler

subroutine xerbla(name, position)
  implicit none
  character(*) :: name
  integer :: position

  print '("handled ", a, 1x, i0, 1x, i0)', name, len(name), position
end subroutine xerbla
